#include <biz_console/replies/error_log_line.h>

#include <QtCore/QDate>
#include <QtCore/QRegularExpression>
#include <QtCore/QTime>

#include <biz_cmdswork/reply_rules/error_log_model_names_p.h>

namespace biz::console {

namespace {

constexpr int hexadecimal = 16;
constexpr int lowestSignedByte = 0x80;

/** What stands before the two digits of a negative byte in the dump. */
constexpr char signExtension[] = "ffffffffffffff";

bool isLowerHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

/** Consumes a text from its front. */
class Scanner
{
public:
    explicit Scanner(const QByteArray &text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_position == m_text.size(); }

    bool skip(const char *expected)
    {
        const int size = static_cast<int>(qstrlen(expected));
        if (m_text.mid(m_position, size) != expected) {
            return false;
        }
        m_position += size;
        return true;
    }

    bool upTo(char end, QByteArray *text)
    {
        const auto found = static_cast<int>(m_text.indexOf(end, m_position));
        if (found < 0) {
            return false;
        }
        *text = m_text.mid(m_position, found - m_position);
        m_position = found + 1;
        return true;
    }

    bool hexByte(int *value)
    {
        if (m_position + 2 > m_text.size() || !isLowerHexDigit(m_text.at(m_position)) ||
            !isLowerHexDigit(m_text.at(m_position + 1))) {
            return false;
        }
        *value = m_text.mid(m_position, 2).toInt(nullptr, hexadecimal);
        m_position += 2;
        return true;
    }

private:
    QByteArray m_text;
    int m_position = 0;
};

bool readModel(Scanner &scanner, ErrorLogLine *result)
{
    QByteArray name;
    if (!scanner.skip("[") || !scanner.upTo(']', &name)) {
        return false;
    }
    result->loggedName = QString::fromLatin1(name);
    for (const errorlog::ModelName &row : errorlog::modelNames) {
        if (name == QByteArray(row.name.data(), static_cast<int>(row.name.size()))) {
            return true;
        }
    }
    return name.isEmpty();
}

// The time is of the machine that wrote it: whether it exists in the time zone of this one, where
// an hour is left out in spring, is all the same.
bool readTime(Scanner &scanner, ErrorLogLine *result)
{
    QByteArray text;
    if (!scanner.skip("[") || !scanner.upTo(']', &text)) {
        return false;
    }
    static const QRegularExpression form(
        QStringLiteral("\\A([0-9]{4})-([0-9]{2})-([0-9]{2}) ([0-9]{2}):([0-9]{2}):([0-9]{2}) ([0-9]{3})\\z"));
    const QRegularExpressionMatch match = form.match(QString::fromLatin1(text.constData(), text.size()));
    const auto number = [&match](int group) {
        return match.captured(group).toInt();
    };
    result->time = QString::fromLatin1(text);
    result->time.replace(result->time.lastIndexOf(QLatin1Char(' ')), 1, QLatin1Char('.'));
    return match.hasMatch() && QDate::isValid(number(1), number(2), number(3)) &&
           QTime::isValid(number(4), number(5), number(6), number(7));
}

bool readHead(Scanner &scanner, ErrorLogLine *result)
{
    for (int i = firstHeadByte; i <= lastHeadByte; ++i) {
        int value = 0;
        if (!scanner.skip(i == firstHeadByte ? "<" : " ") || !scanner.hexByte(&value)) {
            return false;
        }
        result->reply.ucHead[i] = static_cast<unsigned char>(value);
    }
    return scanner.skip(">");
}

bool readPayload(Scanner &scanner, ErrorLogLine *result)
{
    while (!scanner.atEnd()) {
        const bool isNegative = scanner.skip(signExtension);
        int value = 0;
        if (!scanner.hexByte(&value) || (value >= lowestSignedByte) != isNegative) {
            return false;
        }
        result->reply.baData.append(static_cast<char>(value));
    }
    return true;
}

} // namespace

std::optional<ErrorLogLine> readErrorLogLine(const QByteArray &line)
{
    ErrorLogLine result;
    Scanner scanner(line);
    const bool isWhole = readModel(scanner, &result) && readTime(scanner, &result) && readHead(scanner, &result) &&
                         readPayload(scanner, &result);
    return isWhole ? std::optional(result) : std::nullopt;
}

const host::CheckedModel *modelOfLoggedName(const QString &loggedName)
{
    static const QVector<host::CheckedModel> models = host::checkedModels();
    for (const host::CheckedModel &model : models) {
        const std::string_view name = errorlog::modelName(model.deviceType);
        if (loggedName == QLatin1String(name.data(), static_cast<int>(name.size()))) {
            return &model;
        }
    }
    return nullptr;
}

} // namespace biz::console
