#include <biz_console/summary.h>

#include <algorithm>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

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

QString millisecondsText(double milliseconds)
{
    return milliseconds < 0 ? QStringLiteral("-") : QString::number(milliseconds, 'f', 1) + QStringLiteral(" ms");
}

void RoundTrips::add(const RoundTrips &others)
{
    m_milliseconds.insert(m_milliseconds.end(), others.m_milliseconds.begin(), others.m_milliseconds.end());
}

double RoundTrips::median() const
{
    if (m_milliseconds.empty()) {
        return -1.0;
    }
    std::vector<double> sorted = m_milliseconds;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2.0;
}

double RoundTrips::maximum() const
{
    return m_milliseconds.empty() ? -1.0 : *std::max_element(m_milliseconds.begin(), m_milliseconds.end());
}

QStringList Summary::lines() const
{
    QStringList lines{QStringLiteral("summary")};
    lines.append(row("sent", counters.sent));
    lines.append(row("answered", counters.answered));
    if (isOfDevice) {
        lines.append(row("rejected", counters.rejected));
        lines.append(row("resent", counters.resent));
    }
    lines.append(row("given up", counters.gaveUp));
    appendUnlessZero(lines, "released", counters.released);
    appendUnlessZero(lines, "cleared", counters.cleared);
    appendUnlessZero(lines, "skipped", counters.skipped);
    appendUnlessZero(lines, "stopped", counters.stopped);
    lines.append(row("late", counters.late));
    lines.append(row("duplicate", counters.duplicate));
    lines.append(row("foreign", counters.foreign));
    appendUnlessZero(lines, "bytes refused", counters.refusedBytes);
    lines.append(
        row("round trip", QStringLiteral("median %1, maximum %2")
                              .arg(millisecondsText(roundTrips.median()), millisecondsText(roundTrips.maximum()))));
    lines.append(row("commands a second", rateText(counters, seconds)));
    if (isOfDevice) {
        lines.append(row("error log", errorLog.isEmpty() ? QStringLiteral("none, no reply was rejected") : errorLog));
    }
    return lines;
}

QString errorLogOfToday(const QString &folder)
{
    const QString day = QLocale::c().toString(QDate::currentDate(), QStringLiteral("yyyyMMdd"));
    return QStringLiteral("%1/Errorlog/%2.log").arg(folder, day);
}

} // namespace biz::console
