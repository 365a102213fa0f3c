#include <biz_simulator/devices/event_log.h>

#include <QtCore/QStringList>

namespace biz::simulator {

void writeLine(std::FILE *stream, const QString &text)
{
    const QByteArray line = text.toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stream);
    std::fflush(stream);
}

EventLog::EventLog(bool on)
    : m_on(on)
{
    m_clock.start();
}

void EventLog::write(const QString &text) const
{
    if (m_on) {
        const double seconds = static_cast<double>(m_clock.elapsed()) / 1000.0;
        writeLine(stdout, QStringLiteral("%1 ").arg(seconds, 9, 'f', 3) + text);
    }
}

namespace {

/** "3 faults (1 silence, 2 junk)" */
QString faultsText(const Counters &counters)
{
    quint64 all = 0;
    QStringList kinds;
    for (int i = 0; i < faultKinds; ++i) {
        const quint64 count = counters.faults[static_cast<std::size_t>(i)];
        all += count;
        if (count != 0) {
            kinds << QStringLiteral("%1 %2").arg(QString::number(count), faultName(static_cast<FaultKind>(i)));
        }
    }
    const QString text = QStringLiteral("%1 faults").arg(all);
    return kinds.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, kinds.join(QStringLiteral(", ")));
}

} // namespace

QString summaryText(const Counters &counters)
{
    QStringList parts{QStringLiteral("%1 commands").arg(counters.received),
                      QStringLiteral("%1 replies").arg(counters.replies), faultsText(counters)};
    if (counters.unfit != 0) {
        parts << QStringLiteral("%1 faults did not apply").arg(counters.unfit);
    }
    if (counters.lost != 0) {
        parts << QStringLiteral("%1 replies not delivered").arg(counters.lost);
    }
    if (counters.refused != 0) {
        parts << QStringLiteral("%1 times bytes without a valid frame").arg(counters.refused);
    }
    return parts.join(QStringLiteral(", "));
}

} // namespace biz::simulator
