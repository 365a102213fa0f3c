#include <report/drawing/html.h>

#include <cmath>

namespace biz::report {

namespace {

/** Control characters, line ends included, and those that direct the text around them. */
bool isUnseen(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default: // Qt's list of categories, of which these are the unseen ones
        return false;
    }
}

/** "[U+202E]": an unseen character that can be seen. */
QString shownCode(QChar character)
{
    constexpr int digits = 4;
    constexpr int hexadecimal = 16;
    return QStringLiteral("[U+%1]").arg(character.unicode(), digits, hexadecimal, QLatin1Char('0')).toUpper();
}

QString escapedCharacter(QChar character)
{
    switch (character.unicode()) {
    case '&':
        return QStringLiteral("&amp;");
    case '<':
        return QStringLiteral("&lt;");
    case '>':
        return QStringLiteral("&gt;");
    case '"':
        return QStringLiteral("&quot;");
    case '\'':
        return QStringLiteral("&#39;");
    default:
        return isUnseen(character) ? shownCode(character) : QString(character);
    }
}

} // namespace

QString escaped(const QString &text)
{
    QString safe;
    safe.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const bool isPair = text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (isPair) {
            safe.append(text.constData() + i, 2);
            ++i;
        } else {
            safe += escapedCharacter(text.at(i));
        }
    }
    return safe;
}

QString shortened(const QString &text, int length)
{
    return text.size() <= length ? text : text.left(length - 1) + QChar(0x2026);
}

QString coordinate(double value)
{
    constexpr double steps = 10.0;
    const double rounded = std::round(value * steps) / steps;
    return rounded == std::floor(rounded) ? QString::number(static_cast<qint64>(rounded))
                                          : QString::number(rounded, 'f', 1);
}

QString element(const char *tag, const QString &text)
{
    return wrapped(tag, escaped(text));
}

QString element(const char *tag, const char *cssClass, const QString &text)
{
    return wrapped(tag, cssClass, escaped(text));
}

QString wrapped(const char *tag, const QString &markup)
{
    const QLatin1String name(tag);
    return QLatin1Char('<') + name + QLatin1Char('>') + markup + QLatin1String("</") + name + QLatin1String(">\n");
}

QString wrapped(const char *tag, const char *cssClass, const QString &markup)
{
    const QLatin1String name(tag);
    return QLatin1Char('<') + name + QLatin1String(" class=\"") + QLatin1String(cssClass) + QLatin1String("\">") +
           markup + QLatin1String("</") + name + QLatin1String(">\n");
}

} // namespace biz::report
