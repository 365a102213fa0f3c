#include <history/words.h>

#include <cmath>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

namespace biz::history {

namespace {

constexpr double msPerSecond = 1000.0;
constexpr double msPerMinute = 60.0 * msPerSecond;
constexpr double msPerHour = 60.0 * msPerMinute;

QString number(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

QString localText(double ms, const QString &format)
{
    return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(ms)), format);
}

/** "3 min 20 s"; the lesser unit is left out when it is none. */
QString twoUnits(double milliseconds, double greater, const QString &greaterName, double lesser,
                 const QString &lesserName)
{
    const auto all = static_cast<qint64>(std::llround(milliseconds / lesser));
    const auto perGreater = static_cast<qint64>(greater / lesser);
    const QString whole = QStringLiteral("%1 %2").arg(QString::number(all / perGreater), greaterName);
    const qint64 rest = all % perGreater;
    return rest == 0 ? whole : QStringLiteral("%1 %2 %3").arg(whole, QString::number(rest), lesserName);
}

} // namespace

QString countText(quint64 count)
{
    QString digits = QString::number(count);
    constexpr int group = 3;
    for (auto place = digits.size() - group; place > 0; place -= group) {
        digits.insert(place, QLatin1Char(','));
    }
    return digits;
}

QString countText(quint64 count, const char *one, const char *many)
{
    return QStringLiteral("%1 %2").arg(countText(count), QString::fromLatin1(count == 1 ? one : many));
}

QString durationText(double milliseconds)
{
    constexpr double twoDecimalsBelow = 10.0;
    constexpr double oneDecimalBelow = 100.0;
    if (milliseconds < oneDecimalBelow) {
        return number(milliseconds, milliseconds < twoDecimalsBelow ? 2 : 1) + QStringLiteral(" ms");
    }
    if (milliseconds < msPerSecond) {
        return number(milliseconds, 0) + QStringLiteral(" ms");
    }
    if (milliseconds < msPerMinute) {
        return number(milliseconds / msPerSecond, 1) + QStringLiteral(" s");
    }
    if (milliseconds < msPerHour) {
        return twoUnits(milliseconds, msPerMinute, QStringLiteral("min"), msPerSecond, QStringLiteral("s"));
    }
    return twoUnits(milliseconds, msPerHour, QStringLiteral("h"), msPerMinute, QStringLiteral("min"));
}

QString clockText(double ms)
{
    return localText(ms, QStringLiteral("hh:mm:ss"));
}

QString momentText(double ms)
{
    return localText(ms, QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
}

} // namespace biz::history
