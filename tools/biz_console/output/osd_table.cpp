#include <biz_console/output/osd_table.h>

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

QString rowLine(const OsdTableRow &row)
{
    return row.device.leftJustified(deviceWidth) + number(row.sent) + number(row.answered) + number(row.timedOut) +
           number(static_cast<quint64>(row.waiting)) +
           tools::millisecondsText(row.roundTrips.median()).rightJustified(timeWidth) +
           tools::millisecondsText(row.roundTrips.maximum()).rightJustified(timeWidth);
}

void addTo(OsdTableRow &sum, const OsdTableRow &row)
{
    sum.sent += row.sent;
    sum.answered += row.answered;
    sum.timedOut += row.timedOut;
    sum.waiting += row.waiting;
    sum.roundTrips.add(row.roundTrips);
}

} // namespace

QStringList osdTable(const QVector<OsdTableRow> &rows, bool showAll)
{
    const bool showEach = showAll || rows.size() <= devicesShownEach;
    QStringList lines{headLine()};
    OsdTableRow others;
    int otherCount = 0;
    for (const OsdTableRow &row : rows) {
        if (showEach || !row.allAnswered()) {
            lines.append(rowLine(row));
        } else {
            addTo(others, row);
            ++otherCount;
        }
    }
    if (otherCount > 0) {
        others.device = QStringLiteral("%1 answering devices").arg(otherCount);
        lines.append(rowLine(others));
    }
    return lines;
}

} // namespace biz::console
