#include <devices/event_log_p.h>

namespace biz::testkit {

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

void EventLog::writeTimed(const QString &text) const
{
    const double seconds = static_cast<double>(m_clock.elapsed()) / 1000.0;
    writeLine(stdout, QStringLiteral("%1 ").arg(seconds, 9, 'f', 3) + text);
}

} // namespace biz::testkit
