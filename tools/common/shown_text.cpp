#include <common/shown_text.h>

namespace biz::tools {

namespace {

constexpr int hexadecimal = 16;
constexpr ushort largestTwoDigitCode = 0xFF;

/** Terminals act on it, or show something else than what stands there. */
bool isHarmful(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default: // the other categories of Unicode are letters, signs and blanks
        return false;
    }
}

QString escaped(QChar character)
{
    const ushort code = character.unicode();
    const bool isShort = code <= largestTwoDigitCode;
    return QStringLiteral("\\%1%2")
        .arg(isShort ? QLatin1Char('x') : QLatin1Char('u'))
        .arg(code, isShort ? 2 : 4, hexadecimal, QLatin1Char('0'));
}

} // namespace

QString shownText(const QString &text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (isHarmful(character)) {
            shown += escaped(character);
        } else {
            shown += character;
        }
    }
    return shown;
}

QString quotedText(const QString &text)
{
    return QLatin1Char('"') + shownText(text) + QLatin1Char('"');
}

} // namespace biz::tools
