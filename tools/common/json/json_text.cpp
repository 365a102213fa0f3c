#include <common/json/json_text.h>

#include <algorithm>

#include <QtCore/QHash>

#include <common/json/json_parser.h>
#include <common/shown_text.h>

namespace biz::tools {

namespace {

constexpr int shownCharacters = 40;

/** More would scroll the first ones away. */
constexpr std::size_t mostProblemsTold = 20;

/** What a hostile file has beyond these is counted only. */
constexpr std::size_t mostProblemsKept = 1000;

/** Bytes of UTF-8 that go on with a character. */
bool isContinuation(char byte)
{
    constexpr uchar kind = 0xC0;
    constexpr uchar continuation = 0x80;
    return (static_cast<uchar>(byte) & kind) == continuation;
}

QString numberText(double number)
{
    constexpr int digits = 15;
    return QString::number(number, 'g', digits);
}

QString cutText(const QString &text)
{
    return text.size() <= shownCharacters ? quotedText(text)
                                          : quotedText(text.left(shownCharacters)) + QStringLiteral("...");
}

} // namespace

const JsonValue &JsonValue::member(const QString &name) const
{
    static const JsonValue nothing;
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [&name](const JsonValue &element) { return element.key == name; });
    return isObject() && found != elements.end() ? *found : nothing;
}

QString shown(const JsonValue &value)
{
    switch (value.kind) {
    case JsonValue::Kind::Nothing:
        return QStringLiteral("nothing");
    case JsonValue::Kind::Null:
        return QStringLiteral("null");
    case JsonValue::Kind::Boolean:
        return value.boolean ? QStringLiteral("true") : QStringLiteral("false");
    case JsonValue::Kind::Number:
        return numberText(value.number);
    case JsonValue::Kind::Text:
        return cutText(value.text);
    case JsonValue::Kind::Array:
        return QStringLiteral("an array");
    case JsonValue::Kind::Object:
        return QStringLiteral("an object");
    }
    return {};
}

JsonText::JsonText(const InputText &text, int firstLine)
    : m_text(text)
    , m_firstLine(firstLine)
{
    try {
        m_root = parseJson(m_text.bytes);
    } catch (const JsonSyntaxError &error) {
        throw InputError(placeAt(error.offset), error.problem);
    }
    noteRepeatedKeys(m_root);
}

QString JsonText::placeAt(int offset) const
{
    const char *const begin = m_text.bytes.constData();
    const char *const end = begin + std::min(offset, static_cast<int>(m_text.bytes.size()));
    const auto line = m_firstLine + std::count(begin, end, '\n');
    const char *lineBegin = end;
    while (lineBegin != begin && lineBegin[-1] != '\n') {
        --lineBegin;
    }
    const auto column = 1 + std::count_if(lineBegin, end, [](char byte) { return !isContinuation(byte); });
    return QStringLiteral("%1:%2:%3").arg(m_text.name, QString::number(line), QString::number(column));
}

void JsonText::note(int offset, const QString &problem)
{
    if (m_problems.size() < mostProblemsKept) {
        m_problems.push_back({offset, problem});
    } else {
        ++m_problemsNotKept;
    }
}

// Of two values for one key, one would be a test that tests nothing.
void JsonText::noteRepeatedKeys(const JsonValue &value)
{
    QHash<QString, int> seen;
    for (const JsonValue &element : value.elements) {
        noteRepeatedKeys(element);
        if (value.isObject()) {
            const auto first = seen.constFind(element.key);
            if (first != seen.constEnd() && m_problems.size() < mostProblemsTold) {
                note(element.keyOffset, QStringLiteral("%1 stands twice in one object, first at %2")
                                            .arg(quotedText(element.key), placeAt(*first)));
            } else if (first != seen.constEnd()) {
                ++m_problemsNotKept;
            } else {
                seen.insert(element.key, element.keyOffset);
            }
        }
    }
}

void JsonText::requireGood() const
{
    if (m_problems.empty()) {
        return;
    }
    std::vector<Problem> sorted = m_problems;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Problem &left, const Problem &right) { return left.offset < right.offset; });
    QStringList lines;
    for (std::size_t i = 0; i < std::min(sorted.size(), mostProblemsTold); ++i) {
        lines.append(QStringLiteral("%1: %2").arg(placeAt(sorted[i].offset), sorted[i].text));
    }
    const std::size_t all = sorted.size() + m_problemsNotKept;
    if (all > mostProblemsTold) {
        lines.append(
            QStringLiteral("%1: and %2 problems more").arg(m_text.name, QString::number(all - mostProblemsTold)));
    }
    throw InputError(lines);
}

} // namespace biz::tools
