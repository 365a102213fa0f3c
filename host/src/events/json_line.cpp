#include <events/json_line_p.h>

#include <algorithm>
#include <cmath>
#include <ctime>

#include <QtCore/QJsonDocument>

namespace biz::host {

namespace {

/** Most lines fit into it. */
constexpr int usualSize = 512;

constexpr char hexDigits[] = "0123456789ABCDEF";
constexpr int bitsOfDigit = 4;
constexpr ushort digitMask = 0xF;

constexpr ushort firstPrintable = 0x20;
constexpr ushort firstBeyondAscii = 0x7F;

constexpr qint64 microsecondsPerMillisecond = 1000;
constexpr qint64 millisecondsPerSecond = 1000;
constexpr int fractionDigits = 3;

bool isPlain(ushort character)
{
    return character >= firstPrintable && character < firstBeyondAscii && character != '"' && character != '\\';
}

} // namespace

double roundedMs(double milliseconds)
{
    constexpr auto scale = static_cast<double>(microsecondsPerMillisecond);
    return std::round(milliseconds * scale) / scale;
}

JsonLine::JsonLine()
{
    m_bytes.reserve(usualSize);
    m_bytes.push_back('{');
}

void JsonLine::text(const char *key, const QString &value)
{
    name(key);
    quoted(value);
}

void JsonLine::number(const char *key, qint64 value)
{
    name(key);
    if (value < 0) {
        m_bytes.push_back('-');
    }
    decimal(value < 0 ? quint64{0} - static_cast<quint64>(value) : static_cast<quint64>(value), 1);
}

void JsonLine::milliseconds(const char *key, double value)
{
    name(key);
    const qint64 microseconds = std::llround(value * static_cast<double>(microsecondsPerMillisecond));
    if (microseconds < 0) {
        m_bytes.push_back('-');
    }
    const qint64 size = std::abs(microseconds);
    decimal(static_cast<quint64>(size / microsecondsPerMillisecond), 1);
    if (size % microsecondsPerMillisecond != 0) {
        m_bytes.push_back('.');
        decimal(static_cast<quint64>(size % microsecondsPerMillisecond), fractionDigits);
        while (m_bytes.back() == '0') {
            m_bytes.pop_back();
        }
    }
}

void JsonLine::hex(const char *key, const QByteArray &bytes)
{
    name(key);
    m_bytes.push_back('"');
    bool isFirst = true;
    for (const char byte : bytes) {
        if (!isFirst) {
            m_bytes.push_back(' ');
        }
        isFirst = false;
        const auto value = static_cast<uchar>(byte);
        m_bytes.push_back(hexDigits[value >> bitsOfDigit]);
        m_bytes.push_back(hexDigits[value & digitMask]);
    }
    m_bytes.push_back('"');
}

void JsonLine::utc(const char *key, qint64 msSince1970)
{
    name(key);
    const auto seconds = static_cast<std::time_t>(msSince1970 / millisecondsPerSecond);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    constexpr int firstYear = 1900;
    const auto number = [this](int value, int digits, char after) {
        decimal(static_cast<quint64>(value), digits);
        m_bytes.push_back(after);
    };
    m_bytes.push_back('"');
    number(parts.tm_year + firstYear, 4, '-');
    number(parts.tm_mon + 1, 2, '-');
    number(parts.tm_mday, 2, 'T');
    number(parts.tm_hour, 2, ':');
    number(parts.tm_min, 2, ':');
    number(parts.tm_sec, 2, '.');
    number(static_cast<int>(msSince1970 % millisecondsPerSecond), fractionDigits, 'Z');
    m_bytes.push_back('"');
}

void JsonLine::beginArray(const char *key)
{
    name(key);
    m_bytes.push_back('[');
}

void JsonLine::beginObject(bool isFirst)
{
    if (!isFirst) {
        m_bytes.push_back(',');
    }
    m_bytes.push_back('{');
    m_isFirst = true;
}

void JsonLine::endObject()
{
    m_bytes.push_back('}');
    m_isFirst = false;
}

void JsonLine::endArray()
{
    m_bytes.push_back(']');
    m_isFirst = false;
}

void JsonLine::more(const QJsonObject &keys)
{
    if (keys.isEmpty()) {
        return;
    }
    const QByteArray object = QJsonDocument(keys).toJson(QJsonDocument::Compact);
    if (!m_isFirst) {
        m_bytes.push_back(',');
    }
    m_isFirst = false;
    m_bytes.append(object.constData() + 1, static_cast<std::size_t>(object.size() - 2)); // without its braces
}

QByteArray JsonLine::take()
{
    m_bytes.append("}\n");
    return QByteArray::fromStdString(m_bytes);
}

void JsonLine::name(const char *key)
{
    m_bytes.append(m_isFirst ? "\"" : ",\"").append(key).append("\":");
    m_isFirst = false;
}

void JsonLine::quoted(const QString &value)
{
    m_bytes.push_back('"');
    const auto *const begin = value.utf16();
    const auto *const end = begin + value.size();
    for (const auto *at = begin; at != end;) {
        if (isPlain(*at)) {
            m_bytes.push_back(static_cast<char>(*at++));
        } else if (*at <= firstBeyondAscii) {
            escaped(*at++);
        } else {
            const auto *const next =
                std::find_if(at, end, [](ushort character) { return character <= firstBeyondAscii; });
            m_bytes.append(value.mid(static_cast<int>(at - begin), static_cast<int>(next - at)).toStdString());
            at = next;
        }
    }
    m_bytes.push_back('"');
}

void JsonLine::escaped(ushort character)
{
    switch (character) {
    case '"':
        m_bytes.append("\\\"");
        return;
    case '\\':
        m_bytes.append("\\\\");
        return;
    case '\n':
        m_bytes.append("\\n");
        return;
    case '\r':
        m_bytes.append("\\r");
        return;
    case '\t':
        m_bytes.append("\\t");
        return;
    default: // a control character
        m_bytes.append("\\u00");
        m_bytes.push_back(hexDigits[character >> bitsOfDigit]);
        m_bytes.push_back(hexDigits[character & digitMask]);
    }
}

void JsonLine::decimal(quint64 value, int digits)
{
    constexpr quint64 base = 10;
    char text[20];
    char *const end = text + sizeof(text);
    char *at = end;
    do {
        *--at = static_cast<char>('0' + value % base);
        value /= base;
        --digits;
    } while (value != 0 || digits > 0);
    m_bytes.append(at, static_cast<std::size_t>(end - at));
}

} // namespace biz::host
