#include <biz_console/summary/summary_lines.h>

#include <common/units.h>

namespace biz::console {

namespace {

constexpr int labelWidth = 18;

QString row(const char *label, const QString &value)
{
    return QStringLiteral("  ") + QString::fromLatin1(label).leftJustified(labelWidth) + value;
}

QString row(const char *label, quint64 number)
{
    return row(label, QString::number(number));
}

void appendUnlessZero(QStringList &lines, const char *label, quint64 number)
{
    if (number != 0) {
        lines.append(row(label, number));
    }
}

quint64 endedCommands(const host::Counters &counters)
{
    return counters.answered + counters.gaveUp + counters.released;
}

QString errorLogText(const RunSummary &summary)
{
    if (!summary.errorLog.isEmpty()) {
        return summary.errorLog;
    }
    return summary.counters.rejected == 0 ? QStringLiteral("none, no reply was rejected")
                                          : QStringLiteral("could not be written");
}

QString rateText(const host::Counters &counters, double seconds)
{
    const quint64 ended = endedCommands(counters);
    if (ended == 0 || seconds <= 0.0) {
        return QStringLiteral("-");
    }
    return QStringLiteral("%1 (%2 in %3 s)")
        .arg(QString::number(static_cast<double>(ended) / seconds, 'f', 1), QString::number(ended),
             QString::number(seconds, 'f', 2));
}

} // namespace

QStringList summaryLines(const RunSummary &summary)
{
    const host::Counters &counters = summary.counters;
    QStringList lines{QStringLiteral("summary")};
    lines.append(row("sent", counters.sent));
    lines.append(row("answered", counters.answered));
    if (summary.isOfDevice) {
        lines.append(row("rejected", counters.rejected));
        lines.append(row("resent", counters.resent));
    }
    lines.append(row("given up", counters.gaveUp));
    appendUnlessZero(lines, "released", counters.released);
    appendUnlessZero(lines, "cleared", counters.cleared);
    appendUnlessZero(lines, "skipped", counters.skipped);
    appendUnlessZero(lines, "stopped", counters.stopped);
    appendUnlessZero(lines, "expired", counters.expired);
    appendUnlessZero(lines, "superseded", counters.superseded);
    appendUnlessZero(lines, "cancelled", counters.cancelled);
    appendUnlessZero(lines, "unreachable", counters.unreachable);
    appendUnlessZero(lines, "interrupted", counters.interrupted);
    lines.append(row("late", counters.late));
    lines.append(row("duplicate", counters.duplicate));
    lines.append(row("foreign", counters.foreign));
    appendUnlessZero(lines, "replies dropped", counters.dropped);
    appendUnlessZero(lines, "datagrams lost", counters.overflowed);
    appendUnlessZero(lines, "bytes refused", counters.refusedBytes);
    lines.append(row("round trip", QStringLiteral("median %1, maximum %2")
                                       .arg(tools::millisecondsText(counters.roundTripMedianMs),
                                            tools::millisecondsText(counters.roundTripMaxMs))));
    lines.append(row("commands a second", rateText(counters, summary.seconds)));
    if (summary.isOfDevice) {
        lines.append(row("error log", errorLogText(summary)));
    }
    return lines;
}

} // namespace biz::console
