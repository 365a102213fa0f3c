#include <wire/hex_bytes_p.h>

namespace biz::host::wire {

namespace {

constexpr int noDigit = -1;
constexpr int base = 16;

int hexDigit(QChar character)
{
    const char digit = character.toLatin1();
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : noDigit;
}

} // namespace

std::optional<QByteArray> bytesFromHex(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size() / 2);
    for (const auto *at = text.begin(); at != text.end();) {
        if (*at == QLatin1Char(' ')) {
            ++at;
            continue;
        }
        const int high = hexDigit(*at++);
        const int low = at != text.end() ? hexDigit(*at++) : noDigit;
        if (high == noDigit || low == noDigit) {
            return std::nullopt;
        }
        bytes.append(static_cast<char>(high * base + low));
    }
    return bytes;
}

QString hexText(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace biz::host::wire
