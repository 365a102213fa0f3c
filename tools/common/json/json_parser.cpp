#include <common/json/json_parser.h>

#include <cmath>

#include <common/shown_text.h>

namespace biz::tools {

namespace {

/** Deeper than any file that people write, and far from the end of the stack. */
constexpr int deepestNesting = 64;

/** More than any session has, and little enough for the memory of a small machine. */
constexpr int mostValues = 8'000'000;

constexpr int digitsOfEscape = 4;
constexpr int hexadecimal = 16;
constexpr char smallestPrintable = ' ';

/** "JSON" of a message: what is expected before a syntax error. */
QString expectedText(const char *what)
{
    return QStringLiteral("JSON expected: ") + QString::fromLatin1(what);
}

class Parser
{
public:
    explicit Parser(const QByteArray &text)
        : m_text(text)
    {
    }

    JsonValue document()
    {
        skipBlanks();
        if (atEnd()) {
            fail("an object, not an empty text");
        }
        JsonValue value = this->value(0);
        skipBlanks();
        if (!atEnd()) {
            failAtNext("nothing behind the end of the outermost value");
        }
        return value;
    }

private:
    [[noreturn]] void failAt(int offset, const QString &problem) const { throw JsonSyntaxError{offset, problem}; }
    [[noreturn]] void fail(const char *expected) const { failAt(m_at, expectedText(expected)); }

    /** The same, with what stands there instead. */
    [[noreturn]] void failAtNext(const char *expected) const
    {
        const QString found = atEnd() ? QStringLiteral("the end of the text") : foundText();
        failAt(m_at, QStringLiteral("%1, not %2").arg(expectedText(expected), found));
    }

    QString foundText() const
    {
        int size = 1;
        while (m_at + size < m_text.size() && (m_text.at(m_at + size) & 0xC0) == 0x80) {
            ++size;
        }
        return QLatin1Char('\'') + shownText(QString::fromUtf8(m_text.mid(m_at, size))) + QLatin1Char('\'');
    }

    bool atEnd() const { return m_at == m_text.size(); }
    char next() const { return atEnd() ? '\0' : m_text.at(m_at); }

    bool take(char wanted)
    {
        const bool isThere = !atEnd() && m_text.at(m_at) == wanted;
        m_at += isThere ? 1 : 0;
        return isThere;
    }

    void skipBlanks()
    {
        while (next() == ' ' || next() == '\t' || next() == '\r' || next() == '\n') {
            ++m_at;
        }
    }

    JsonValue value(int depth)
    {
        if (++m_values > mostValues) {
            fail("fewer values");
        }
        if (depth == deepestNesting) {
            fail("fewer values within each other");
        }
        JsonValue value;
        value.offset = m_at;
        switch (next()) {
        case '{':
            readObject(&value, depth);
            break;
        case '[':
            readArray(&value, depth);
            break;
        case '"':
            value.kind = JsonValue::Kind::Text;
            value.text = text();
            break;
        default:
            readPlain(&value);
            break;
        }
        return value;
    }

    void readObject(JsonValue *object, int depth)
    {
        object->kind = JsonValue::Kind::Object;
        ++m_at;
        skipBlanks();
        if (take('}')) {
            return;
        }
        do {
            skipBlanks();
            const int keyOffset = m_at;
            if (next() != '"') {
                failAtNext("a key in quotes");
            }
            QString key = text();
            skipBlanks();
            if (!take(':')) {
                failAtNext("':' behind a key");
            }
            skipBlanks();
            object->elements.push_back(value(depth + 1));
            object->elements.back().key = std::move(key);
            object->elements.back().keyOffset = keyOffset;
            skipBlanks();
        } while (take(','));
        if (!take('}')) {
            failAtNext("',' or '}' behind a member");
        }
    }

    void readArray(JsonValue *array, int depth)
    {
        array->kind = JsonValue::Kind::Array;
        ++m_at;
        skipBlanks();
        if (take(']')) {
            return;
        }
        do {
            skipBlanks();
            array->elements.push_back(value(depth + 1));
            skipBlanks();
        } while (take(','));
        if (!take(']')) {
            failAtNext("',' or ']' behind an element");
        }
    }

    /** A number, true, false or null. */
    void readPlain(JsonValue *value)
    {
        const int start = m_at;
        while (isWordCharacter(next())) {
            ++m_at;
        }
        const QByteArray word = m_text.mid(start, m_at - start);
        if (word == "true" || word == "false") {
            value->kind = JsonValue::Kind::Boolean;
            value->boolean = word == "true";
        } else if (word == "null") {
            value->kind = JsonValue::Kind::Null;
        } else if (isNumber(word)) {
            value->kind = JsonValue::Kind::Number;
            value->number = doubleOf(word);
        } else {
            failAtWord(start, word);
        }
    }

    [[noreturn]] void failAtWord(int start, const QByteArray &word)
    {
        m_at = start;
        if (word.isEmpty()) {
            failAtNext("a value");
        }
        failAt(start, expectedText("a value, not ") + shownText(QString::fromUtf8(word)));
    }

    static bool isDigit(char character) { return character >= '0' && character <= '9'; }

    static bool isWordCharacter(char character)
    {
        return isDigit(character) || (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               character == '+' || character == '-' || character == '.' || character == '_';
    }

    /** Infinite where a double is too small for the number; of a QByteArray Qt 6 makes zero then. */
    static double doubleOf(const QByteArray &word) { return QString::fromLatin1(word).toDouble(); }

    /** JSON's numbers have no leading zero, and digits on both sides of a point. */
    static bool isNumber(const QByteArray &word)
    {
        int at = word.startsWith('-') ? 1 : 0;
        const auto skipDigits = [&] {
            const int from = at;
            while (at < word.size() && isDigit(word.at(at))) {
                ++at;
            }
            return at - from;
        };
        const bool startsWithZero = at < word.size() && word.at(at) == '0';
        const int whole = skipDigits();
        bool good = whole == 1 || (whole > 1 && !startsWithZero);
        if (at < word.size() && word.at(at) == '.') {
            ++at;
            good = skipDigits() > 0 && good;
        }
        if (at < word.size() && (word.at(at) == 'e' || word.at(at) == 'E')) {
            ++at;
            at += at < word.size() && (word.at(at) == '+' || word.at(at) == '-') ? 1 : 0;
            good = skipDigits() > 0 && good;
        }
        return good && at == word.size() && std::isfinite(doubleOf(word));
    }

    QString text()
    {
        const int start = m_at++;
        QString text;
        while (next() != '"') {
            if (atEnd()) {
                failAt(start, expectedText("a text that ends, with a quote"));
            }
            if (take('\\')) {
                text += escape();
            } else {
                text += plainPart();
            }
        }
        ++m_at;
        if (text.contains(QChar::ReplacementCharacter) || !isWhole(text)) {
            requireUtf8(start, text);
        }
        return text;
    }

    /** What stands in a text up to the next quote or backslash. */
    QString plainPart()
    {
        const int start = m_at;
        while (!atEnd() && next() != '"' && next() != '\\') {
            if (next() >= '\0' && next() < smallestPrintable) {
                failAtNext("\\n, \\t or \\u001b in place of a control character");
            }
            ++m_at;
        }
        return QString::fromUtf8(m_text.constData() + start, m_at - start);
    }

    QChar escape()
    {
        static constexpr char letters[] = R"("\/bfnrt)";
        static constexpr char meanings[] = "\"\\/\b\f\n\r\t";
        const QByteArray known(letters);
        const auto place = atEnd() ? -1 : static_cast<int>(known.indexOf(next()));
        if (place >= 0) {
            ++m_at;
            return QLatin1Char(meanings[place]);
        }
        if (!take('u')) {
            failAtNext(R"(one of " \ / b f n r t u behind a backslash)");
        }
        bool isHex = false;
        const QByteArray digits = m_text.mid(m_at, digitsOfEscape);
        const ushort code = digits.toUShort(&isHex, hexadecimal);
        if (!isHex || digits.size() != digitsOfEscape || !std::isxdigit(static_cast<uchar>(digits.at(0)))) {
            failAtNext("four hexadecimal digits behind \\u");
        }
        m_at += digitsOfEscape;
        return {code};
    }

    /** Whether no half of a character stands alone. */
    static bool isWhole(const QString &text)
    {
        for (int i = 0; i < text.size(); ++i) {
            if (!text.at(i).isSurrogate()) {
                continue;
            }
            if (!text.at(i).isHighSurrogate() || i + 1 == text.size() || !text.at(i + 1).isLowSurrogate()) {
                return false;
            }
            ++i;
        }
        return true;
    }

    void requireUtf8(int start, const QString &text) const
    {
        // What is no UTF-8 is replaced when it is read, and differs when it is written. In front stands a byte, since a
        // mark of the byte order is dropped at the beginning only.
        const QByteArray raw = '"' + m_text.mid(start, m_at - start);
        if (QString::fromUtf8(raw).toUtf8() != raw || !isWhole(text)) {
            failAt(start, expectedText("a text in UTF-8"));
        }
    }

    const QByteArray &m_text;
    int m_at = 0;
    int m_values = 0;
};

} // namespace

JsonValue parseJson(const QByteArray &text)
{
    return Parser(text).document();
}

} // namespace biz::tools
