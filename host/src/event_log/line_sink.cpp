#include <event_log/line_sink_p.h>

#include <QtCore/QDateTime>

#include <host/event.h>

namespace biz::host {

namespace {

/** With more waiting in a device that sends by itself, as a socket does, nobody reads: seconds of a busy host. */
constexpr qint64 mostHeld = qint64{1024} * 1024;

} // namespace

QByteArray lostLine(qint64 lines)
{
    Event event;
    event.kind = EventKind::Lost;
    event.utcMs = QDateTime::currentMSecsSinceEpoch();
    event.lines = lines;
    return jsonLine(event);
}

DeviceSink::DeviceSink(std::unique_ptr<QIODevice> device)
    : m_device(std::move(device))
{
}

LineSink::Result DeviceSink::write(const QByteArray &lines)
{
    if (m_device->write(lines) != lines.size()) {
        setProblem(m_device->errorString());
        return Result::IsGone; // a part of a line may have been written
    }
    return Result::Written;
}

bool DeviceSink::isOverfull()
{
    if (m_device->bytesToWrite() <= mostHeld) {
        return false;
    }
    setProblem(QStringLiteral("the other side does not read"));
    return true;
}

void DeviceSink::finish(const QDeadlineTimer &deadline)
{
    while (m_device->bytesToWrite() > 0 && !deadline.hasExpired() &&
           m_device->waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) {
    }
}

} // namespace biz::host
