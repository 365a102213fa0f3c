#ifndef BIZ_HOST_WRITE_WINDOW_P_H
#define BIZ_HOST_WRITE_WINDOW_P_H

#include <QtCore/QTimer>

#include <host/device_link.h>

namespace biz::host {

/**
 * Bounds how much a link holds: commands that pile up in front of a device that has stopped reading
 * would all act when it goes on.
 *
 * There is room while one more frame, as large as the largest so far, fits within the bound; an empty
 * link has room for any frame. The system does not tell when held bytes have left, so the window looks.
 */
class WriteWindow final : public QObject
{
    Q_OBJECT

public:
    explicit WriteWindow(const DeviceLink *link);

    bool hasRoom() const;

    /** The link has taken a frame of that many bytes. */
    void add(qint64 bytes);

    /** The connection has ended, and with it all that was held. */
    void reset();

Q_SIGNALS:
    /** Nothing is held any longer. */
    void drained();
    /** There is room again, after a frame that left none. */
    void roomAgain();

private:
    void look();
    qint64 askHeld() const;

    const DeviceLink *const m_link;
    QTimer m_looking{this};
    qint64 m_largest = 0;
    /** No more than so much is held: what was seen last and all that was written since. */
    mutable qint64 m_heldAtMost = 0;
    bool m_isFull = false;
};

} // namespace biz::host

#endif
