#include <biz_console/summary/closing_lines.h>

#include <algorithm>

#include <biz_console/summary/osd_table.h>
#include <biz_console/summary/summary_lines.h>
#include <biz_console/summary/text_output.h>

namespace biz::console {

namespace {

void appendList(QStringList &lines, const QString &title, const QStringList &items)
{
    if (items.isEmpty()) {
        return;
    }
    lines << QString() << title;
    for (const QString &item : items) {
        lines << QStringLiteral("  ") + item;
    }
}

void appendDevices(QStringList &lines, const QVector<OsdDeviceTotals> &devices, bool allDevices)
{
    lines << QString() << osdTable(devices, allDevices);
    int answering = 0;
    double lastAnswer = 0.0;
    for (const OsdDeviceTotals &device : devices) {
        if (device.allAnswered()) {
            ++answering;
            lastAnswer = std::max(lastAnswer, device.lastAnswerSeconds);
        }
    }
    if (answering > 0) {
        lines << QStringLiteral("%1 done after %2 s")
                     .arg(counted(answering, "answering device"), QString::number(lastAnswer, 'f', 3));
    }
}

QString verdict(const RunEnd &end)
{
    if (end.allAsExpected) {
        return QStringLiteral("  %1%2 ended as expected")
            .arg(end.total == 1 ? QString() : QStringLiteral("all "), counted(end.total, "command"));
    }
    return QStringLiteral("  %1 of %2 did not end as expected")
        .arg(QString::number(end.mismatchCount), counted(end.total, "command"));
}

} // namespace

QString progressText(const RunProgress &progress)
{
    const QString ended =
        progress.isEndless
            ? QStringLiteral("%1 ended in %2").arg(QString::number(progress.ended), counted(progress.round, "round"))
            : QStringLiteral("%1 of %2 ended").arg(progress.ended).arg(progress.total);
    return QStringLiteral("%1, %2 waiting, %3 awaiting a reply")
        .arg(ended, QString::number(progress.waiting), QString::number(progress.inFlight));
}

QStringList closingLines(const RunEnd &end, bool allDevices)
{
    QStringList lines;
    if (!end.summary.isOfDevice) {
        appendDevices(lines, end.devices, allDevices);
    }
    appendList(lines, QStringLiteral("not as expected"), end.mismatches);
    appendList(lines, QStringLiteral("stopped before they ended"), end.stopped);
    lines << QString() << summaryLines(end.summary);
    if (!end.endedEarly) {
        lines << verdict(end);
    }
    return lines;
}

} // namespace biz::console
