#include <biz_console/summary/osd_table.h>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <biz_console/summary/text_output.h>
#include <common/units.h>

namespace biz::console {

namespace {

constexpr int deviceWidth = 24;
constexpr int numberWidth = 10;
constexpr int timeWidth = 12;

QString number(quint64 value)
{
    return QString::number(value).rightJustified(numberWidth);
}

QString text(const char *name, int width)
{
    return QString::fromLatin1(name).rightJustified(width);
}

QString headLine()
{
    return QStringLiteral("device").leftJustified(deviceWidth) + text("sent", numberWidth) +
           text("answered", numberWidth) + text("timed out", numberWidth) + text("waiting", numberWidth) +
           text("median", timeWidth) + text("maximum", timeWidth);
}

QString rowLine(const QString &name, const host::Counters &counters)
{
    return name.leftJustified(deviceWidth) + number(counters.sent) + number(counters.answered) +
           number(counters.gaveUp) + number(static_cast<quint64>(counters.queueLength)) +
           tools::millisecondsText(counters.roundTripMedianMs).rightJustified(timeWidth) +
           tools::millisecondsText(counters.roundTripMaxMs).rightJustified(timeWidth);
}

/** Why there is something to worry about; empty for a device that was heard of. */
QString silenceOf(const OsdDeviceTotals &row)
{
    if (row.isReachable || row.counters.enqueued == 0) {
        return {};
    }
    if (row.silentSinceUtcMs == 0) {
        return QStringLiteral("  not reached");
    }
    const QDateTime since = QDateTime::fromMSecsSinceEpoch(row.silentSinceUtcMs);
    return QStringLiteral("  silent since ") + QLocale::c().toString(since, QStringLiteral("hh:mm:ss"));
}

} // namespace

QStringList osdTable(const QVector<OsdDeviceTotals> &rows, bool showAll)
{
    const bool showEach = showAll || rows.size() <= devicesShownEach;
    QStringList lines{headLine()};
    host::Counters others;
    int shared = 0;
    for (const OsdDeviceTotals &row : rows) {
        if (showEach || !row.allAnswered()) {
            lines.append(rowLine(row.device, row.counters) + silenceOf(row));
        } else {
            others += row.counters;
            ++shared;
        }
    }
    if (shared > 0) {
        lines.append(rowLine(counted(shared, "answering device"), others));
    }
    return lines;
}

} // namespace biz::console
