#include <biz_console/output/summary.h>

#include <common/units.h>

#include <algorithm>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

namespace biz::console {

namespace {

constexpr int labelWidth = 18;

/** For each device of a run, of which there may be thousands. */
constexpr std::size_t maxSample = 1000;

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

void RoundTrips::add(double milliseconds)
{
    m_maximum = std::max(m_maximum, milliseconds);
    ++m_count;
    if (m_sample.size() < maxSample) {
        m_sample.push_back(milliseconds);
        return;
    }
    // Each of all so far is in the sample with the same probability.
    const quint64 place = std::uniform_int_distribution<quint64>(0, m_count - 1)(m_random);
    if (place < maxSample) {
        m_sample[place] = milliseconds;
    }
}

void RoundTrips::add(const RoundTrips &others)
{
    m_sample.insert(m_sample.end(), others.m_sample.begin(), others.m_sample.end());
    m_maximum = std::max(m_maximum, others.m_maximum);
    m_count += others.m_count;
}

double RoundTrips::median() const
{
    if (m_sample.empty()) {
        return -1.0;
    }
    std::vector<double> sorted = m_sample;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2.0;
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
    appendUnlessZero(lines, "expired", counters.expired);
    appendUnlessZero(lines, "superseded", counters.superseded);
    appendUnlessZero(lines, "cancelled", counters.cancelled);
    appendUnlessZero(lines, "unreachable", counters.unreachable);
    appendUnlessZero(lines, "interrupted", counters.interrupted);
    lines.append(row("late", counters.late));
    lines.append(row("duplicate", counters.duplicate));
    lines.append(row("foreign", counters.foreign));
    appendUnlessZero(lines, "replies dropped", counters.dropped);
    appendUnlessZero(lines, "bytes refused", counters.refusedBytes);
    lines.append(row("round trip", QStringLiteral("median %1, maximum %2")
                                       .arg(tools::millisecondsText(counters.roundTripMedianMs),
                                            tools::millisecondsText(counters.roundTripMaxMs))));
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
