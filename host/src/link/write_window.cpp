#include <link/write_window_p.h>

#include <algorithm>

#include <timing_p.h>

namespace biz::host {

namespace {

constexpr qint64 mostHeldBytes = qint64{64} * 1024;

} // namespace

WriteWindow::WriteWindow(const DeviceLink *link)
    : m_link(link)
{
    connect(&m_looking, &QTimer::timeout, this, &WriteWindow::look);
}

// The system is asked only when there might be no room: hosts ask this several times for each frame.
bool WriteWindow::hasRoom() const
{
    const auto fits = [this] {
        return m_heldAtMost + m_largest <= mostHeldBytes;
    };
    return fits() || askHeld() == 0 || fits();
}

qint64 WriteWindow::askHeld() const
{
    m_heldAtMost = m_link->bytesHeld();
    return m_heldAtMost;
}

void WriteWindow::add(qint64 bytes)
{
    m_largest = std::max(m_largest, bytes);
    m_heldAtMost += bytes;
    if (!m_isFull && !hasRoom()) {
        m_isFull = true;
        m_looking.start(timing::roomCheckPeriod);
    } else if (!m_looking.isActive()) {
        m_looking.start(timing::drainCheckPeriod);
    }
}

void WriteWindow::reset()
{
    m_looking.stop();
    m_largest = 0;
    m_heldAtMost = 0;
    m_isFull = false;
}

void WriteWindow::look()
{
    const bool isEmpty = askHeld() == 0;
    const bool hasRoomAgain = m_isFull && hasRoom();
    if (isEmpty) {
        m_looking.stop();
        Q_EMIT drained();
    } else if (hasRoomAgain) {
        m_looking.start(timing::drainCheckPeriod);
    }
    // Last: whoever hears of it may write, or close the link.
    if (hasRoomAgain) {
        m_isFull = false;
        Q_EMIT roomAgain();
    }
}

} // namespace biz::host
