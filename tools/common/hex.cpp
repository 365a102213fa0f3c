#include <common/hex.h>

namespace biz::tools {

namespace {

bool isBlank(QChar character)
{
    return character == QLatin1Char(' ') || character == QLatin1Char('\t');
}

int hexDigit(QChar character)
{
    const char digit = character.toLatin1();
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

} // namespace

std::optional<QByteArray> bytesFromHex(const QString &text)
{
    QByteArray bytes;
    for (int i = 0; i < text.size(); ++i) {
        if (isBlank(text.at(i))) {
            continue;
        }
        const int high = hexDigit(text.at(i));
        const int low = i + 1 < text.size() ? hexDigit(text.at(i + 1)) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.append(static_cast<char>(high * 16 + low));
        ++i;
    }
    return bytes;
}

QString hexText(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace biz::tools
