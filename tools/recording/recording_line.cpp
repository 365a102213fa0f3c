#include <recording/recording_line.h>

#include <cmath>
#include <limits>

#include <common/errors.h>
#include <common/hex.h>

namespace biz::tools {

RecordingLine::RecordingLine(const QByteArray &json, const QString &file, int lineNumber)
    : m_place(QStringLiteral("%1:%2").arg(file, QString::number(lineNumber)))
    , m_text({file, json}, lineNumber)
{
    m_text.requireGood();
    if (!m_text.root().isObject()) {
        fail(QStringLiteral("a JSON object expected"));
    }
}

QString RecordingLine::text(const char *name) const
{
    if (!value(name).isText()) {
        failAt(name, QStringLiteral("a text"));
    }
    return value(name).text;
}

QString RecordingLine::text(const char *name, const QString &fallback) const
{
    return has(name) ? text(name) : fallback;
}

int RecordingLine::number(const char *name) const
{
    const double number = value(name).number;
    if (!isNumber(name) || std::floor(number) != number || std::fabs(number) > std::numeric_limits<int>::max()) {
        failAt(name, QStringLiteral("a whole number"));
    }
    return static_cast<int>(number);
}

int RecordingLine::number(const char *name, int fallback) const
{
    return has(name) ? number(name) : fallback;
}

bool RecordingLine::boolean(const char *name) const
{
    if (value(name).kind != JsonValue::Kind::Boolean) {
        failAt(name, QStringLiteral("true or false"));
    }
    return value(name).boolean;
}

double RecordingLine::milliseconds(const char *name) const
{
    constexpr double longestRunMs = 1e9; // more than a week, and still a whole number of a timer
    const double number = value(name).number;
    if (!isNumber(name) || number < 0 || number > longestRunMs) {
        failAt(name, QStringLiteral("a time in milliseconds"));
    }
    return number;
}

QByteArray RecordingLine::bytes(const char *name) const
{
    if (!has(name)) {
        return {};
    }
    const auto bytes = bytesFromHex(text(name));
    if (!bytes) {
        failAt(name, QStringLiteral("bytes in hexadecimal"));
    }
    return *bytes;
}

QByteArray RecordingLine::bytesOfSize(const char *name, int size) const
{
    QByteArray all = bytes(name);
    if (all.size() != size) {
        failAt(name, QStringLiteral("%1 bytes in hexadecimal").arg(size));
    }
    return all;
}

void RecordingLine::fail(const QString &expected) const
{
    throw InputError(QStringLiteral("%1: %2").arg(m_place, expected));
}

void RecordingLine::failAt(const char *name, const QString &expected) const
{
    const QString found = has(name) ? QStringLiteral(", not ") + shown(value(name)) : QString();
    fail(QStringLiteral("%1: %2 expected%3").arg(QLatin1String(name), expected, found));
}

} // namespace biz::tools
