#include <events/json_lines_p.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ctime>
#include <utility>

#include <QtCore/QJsonDocument>

#include <byte_count_p.h>

namespace biz::host {

namespace {

/** Most lines fit into it. */
constexpr int usualSize = 512;

constexpr char hexDigits[] = "0123456789ABCDEF";
constexpr int bitsOfDigit = 4;
constexpr unsigned digitMask = 0xF;

constexpr ushort firstPrintable = 0x20;
constexpr ushort firstBeyondAscii = 0x7F;

constexpr qint64 microsecondsPerMillisecond = 1000;
constexpr qint64 millisecondsPerSecond = 1000;
constexpr unsigned base = 10;

// The most bytes that a field may need.
constexpr std::size_t mostOfNumber = 20; // a sign and 19 digits
constexpr std::size_t mostOfMilliseconds = mostOfNumber + 4;
constexpr std::size_t mostOfCharacter = 6; // "\u001B"; UTF-8 takes less
constexpr std::size_t mostOfByte = 3;      // two digits and a space
constexpr std::size_t quotes = 2;

/** Which characters stand for themselves. */
constexpr std::array<bool, firstBeyondAscii> plainCharacters()
{
    std::array<bool, firstBeyondAscii> plain{};
    for (ushort character = firstPrintable; character < firstBeyondAscii; ++character) {
        plain[character] = character != '"' && character != '\\';
    }
    return plain;
}
constexpr auto isPlain = plainCharacters();

char *put(char *at, char character)
{
    *at = character;
    return at + 1;
}

char *put(char *at, const char *text, std::size_t size)
{
    std::memcpy(at, text, size);
    return at + size;
}

char *putHex(char *at, unsigned byte)
{
    *at++ = hexDigits[byte >> bitsOfDigit];
    *at++ = hexDigits[byte & digitMask];
    return at;
}

char *putNumber(char *at, qint64 value)
{
    return std::to_chars(at, at + mostOfNumber, value).ptr;
}

/** With leading zeros. */
char *putDigits(char *at, unsigned value, int digits)
{
    for (int digit = digits - 1; digit >= 0; --digit) {
        at[digit] = static_cast<char>('0' + value % base);
        value /= base;
    }
    return at + digits;
}

char *putEscaped(char *at, ushort character)
{
    *at++ = '\\';
    switch (character) {
    case '"':
    case '\\':
        return put(at, static_cast<char>(character));
    case '\n':
        return put(at, 'n');
    case '\r':
        return put(at, 'r');
    case '\t':
        return put(at, 't');
    default: // a control character
        return putHex(put(at, "u00", 3), character);
    }
}

char *putQuoted(char *at, const QString &value)
{
    *at++ = '"';
    const auto *const begin = value.utf16();
    const auto *const end = begin + value.size();
    for (const auto *from = begin; from != end;) {
        if (*from < firstBeyondAscii && isPlain[*from]) {
            *at++ = static_cast<char>(*from++);
        } else if (*from <= firstBeyondAscii) {
            at = putEscaped(at, *from++);
        } else {
            const auto *const next =
                std::find_if(from, end, [](ushort character) { return character <= firstBeyondAscii; });
            const QByteArray utf8 = value.mid(static_cast<int>(from - begin), static_cast<int>(next - from)).toUtf8();
            at = put(at, utf8.constData(), static_cast<std::size_t>(utf8.size()));
            from = next;
        }
    }
    return put(at, '"');
}

} // namespace

double roundedMs(double milliseconds)
{
    constexpr auto scale = static_cast<double>(microsecondsPerMillisecond);
    return std::round(milliseconds * scale) / scale;
}

// --- Fields ---------------------------------------------------------------------------------------

void JsonLines::text(JsonKey key, const QString &value)
{
    wroteUpTo(putQuoted(named(key, quotes + mostOfCharacter * static_cast<std::size_t>(value.size())), value));
}

void JsonLines::number(JsonKey key, qint64 value)
{
    wroteUpTo(putNumber(named(key, mostOfNumber), value));
}

void JsonLines::milliseconds(JsonKey key, double value)
{
    constexpr int fractionDigits = 3;
    char *at = named(key, mostOfMilliseconds);
    const qint64 microseconds = std::llround(value * static_cast<double>(microsecondsPerMillisecond));
    if (microseconds < 0) {
        *at++ = '-';
    }
    const qint64 size = std::abs(microseconds);
    at = putNumber(at, size / microsecondsPerMillisecond);
    if (size % microsecondsPerMillisecond != 0) {
        *at++ = '.';
        at = putDigits(at, static_cast<unsigned>(size % microsecondsPerMillisecond), fractionDigits);
        while (at[-1] == '0') {
            --at;
        }
    }
    wroteUpTo(at);
}

void JsonLines::hex(JsonKey key, const QByteArray &bytes)
{
    char *at = put(named(key, quotes + mostOfByte * static_cast<std::size_t>(bytes.size())), '"');
    const char *const first = at;
    for (const char byte : bytes) {
        at = put(putHex(at, static_cast<uchar>(byte)), ' ');
    }
    wroteUpTo(put(at == first ? at : at - 1, '"'));
}

void JsonLines::utc(JsonKey key, qint64 msSince1970)
{
    constexpr int digits = 3;
    char *at = put(named(key, quotes + secondTextSize + mostOfByte + 1), '"');
    at = put(at, secondText(msSince1970 / millisecondsPerSecond), secondTextSize);
    at = putDigits(at, static_cast<unsigned>(msSince1970 % millisecondsPerSecond), digits);
    wroteUpTo(put(at, "Z\"", 2));
}

const char *JsonLines::secondText(qint64 second)
{
    if (second == m_second) {
        return m_secondText;
    }
    m_second = second;
    const auto seconds = static_cast<std::time_t>(second);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    constexpr int firstYear = 1900;
    char *at = m_secondText;
    const auto number = [&at](int value, int digits, char after) {
        at = put(putDigits(at, static_cast<unsigned>(value), digits), after);
    };
    number(parts.tm_year + firstYear, 4, '-');
    number(parts.tm_mon + 1, 2, '-');
    number(parts.tm_mday, 2, 'T');
    number(parts.tm_hour, 2, ':');
    number(parts.tm_min, 2, ':');
    number(parts.tm_sec, 2, '.');
    return m_secondText;
}

void JsonLines::more(const QJsonObject &keys)
{
    if (keys.isEmpty()) {
        return;
    }
    const QByteArray object = QJsonDocument(keys).toJson(QJsonDocument::Compact);
    const auto size = static_cast<std::size_t>(object.size() - 2); // without its braces
    char *at = roomFor(size + 1);
    if (!m_isFirst) {
        *at++ = ',';
    }
    m_isFirst = false;
    wroteUpTo(put(at, object.constData() + 1, size));
}

// --- Lines ----------------------------------------------------------------------------------------

void JsonLines::begin()
{
    write('{');
    m_isFirst = true;
}

void JsonLines::beginArray(JsonKey key)
{
    wroteUpTo(put(named(key, 1), '['));
}

void JsonLines::beginObject(bool isFirst)
{
    if (!isFirst) {
        write(',');
    }
    begin();
}

void JsonLines::endObject()
{
    write('}');
    m_isFirst = false;
}

void JsonLines::endArray()
{
    write(']');
    m_isFirst = false;
}

void JsonLines::end()
{
    wroteUpTo(put(roomFor(2), "}\n", 2));
}

QByteArray JsonLines::take()
{
    m_bytes.resize(m_size);
    m_size = 0;
    return std::exchange(m_bytes, {});
}

// --- Bytes ----------------------------------------------------------------------------------------

/** Where the next bytes go. */
char *JsonLines::roomFor(std::size_t bytes)
{
    const int needed = m_size + static_cast<int>(bytes);
    const int held = byteCount(m_bytes);
    if (needed > held) {
        m_bytes.resize(std::max({usualSize, needed, 2 * held}));
    }
    return m_bytes.data() + m_size;
}

/** Writes the key; the value goes where it says. */
char *JsonLines::named(JsonKey key, std::size_t bytesOfValue)
{
    constexpr std::size_t aroundKey = 4; // a comma, quotes and a colon
    char *at = roomFor(aroundKey + key.size + bytesOfValue);
    if (!m_isFirst) {
        *at++ = ',';
    }
    m_isFirst = false;
    *at++ = '"';
    return put(put(at, key.text, key.size), "\":", 2);
}

void JsonLines::write(char character)
{
    wroteUpTo(put(roomFor(1), character));
}

} // namespace biz::host
