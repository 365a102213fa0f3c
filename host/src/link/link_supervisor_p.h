#ifndef BIZ_HOST_LINK_SUPERVISOR_P_H
#define BIZ_HOST_LINK_SUPERVISOR_P_H

#include <chrono>
#include <functional>
#include <memory>

#include <QtCore/QTimer>

#include <host/device_link.h>
#include <host/link_status.h>
#include <host_clock_p.h>
#include <timing_p.h>

namespace biz::host {

/**
 * Keeps one link up: opens it, notices when it is lost or silent, opens it again, and throws bytes away
 * that are not to be delivered any more.
 *
 * A link is silent when it holds bytes and none of them leaves for the silence limit. A silent link is
 * closed without delivering what it holds.
 *
 * Each signal is emitted last in what emits it, so a slot may call anything here; after stop() has
 * returned nothing is emitted until start(). Everything runs on one thread.
 */
class LinkSupervisor final : public QObject
{
    Q_OBJECT

public:
    explicit LinkSupervisor(QObject *parent = nullptr);
    ~LinkSupervisor() override;

    /** Stops, and takes the link in place of the present one, which may be inside its own write(). */
    void setLink(std::unique_ptr<DeviceLink> link);
    DeviceLink *link() const;

    /** Opens the link; needs one. */
    void start();

    /** Closes the link; bytes that it holds are thrown away, since their commands end with it. */
    void stop();

    const LinkStatus &status() const;
    bool isUp() const;

    /** From one attempt to the next while the link is lost, give or take a little; 0 for no further attempt. */
    void setReconnectInterval(std::chrono::milliseconds interval);

    /** How long no byte may leave before a link counts as silent; 0 for twice the wait in flight, the default. */
    void setSilenceLimit(std::chrono::milliseconds limit);

    /** The wait of the command in flight, or the longest when there are several. */
    void setWaitInFlight(std::chrono::milliseconds wait);

    /** Hands one frame over; false when the link is not up, or did not take it. */
    [[nodiscard]] bool write(const QByteArray &frame);

    /** Why the last write() returned false; empty when it returned true. */
    QString writeProblem() const;

    /** Whether a command may be written now; writable() or up() follows a false. */
    bool mayWrite() const;

    /** Bytes that the link holds; 0 where it throws. */
    qint64 bytesHeld() const;

    /**
     * Tells the peer that nothing is written any more. When it ends the connection that is the end of the link, as a
     * stop() would be, and no loss. False where the link has no such way.
     */
    [[nodiscard]] bool endWriting();

    /**
     * A command that had been written has ended without an answer: bytes that the link still holds when a
     * healthy peer would have acknowledged them are thrown away, within the call when that time is over. The link is
     * made anew from the event loop: it is connecting until it is up again. That is no loss, unless the peer stays
     * away for as long as makes it silent. Until all this is over no command may be written.
     */
    void discardHeld();

Q_SIGNALS:
    void stateChanged(const biz::host::LinkStatus &status);
    void up();
    /** Once for each loss: failed attempts to open the link again are counted in the status alone. */
    void lost(const biz::host::LinkStatus &status);
    void received(const QByteArray &bytes);
    void writable();

private:
    void listen(bool isOn);
    [[nodiscard]] bool discardAndClose();
    void attempt();
    void attemptLater(TimePoint from);
    void onOpened();
    void onClosed(const QString &reason);
    void onReceived(const QByteArray &bytes);
    void onWritable();

    bool enter(LinkState state, Error error = Error::None, const QString &reason = {});
    void logChange(const LinkStatus &before) const;
    void stopTimers();

    void noteWritten(qint64 size);
    void lookAtHeld();
    void noteLeft(qint64 held);
    void lookAtDiscarded();
    bool isDiscardDue() const;
    bool isSilent() const;
    std::chrono::milliseconds silenceLimit() const;
    QString silence(qint64 held) const;
    void loseSilent();
    [[nodiscard]] bool throwAway(qint64 held);
    void connectAnew();
    void loseWhileConnecting();

    std::unique_ptr<DeviceLink> m_link;
    LinkStatus m_status;

    /** Counts what ends an emission: a slot may have stopped, and started again, meanwhile. */
    quint64 m_changes = 0;
    bool m_isOpening = false;
    bool m_isClosing = false; ///< inside discardAndClose()
    bool m_isEnding = false;  ///< the peer may end the connection
    TimePoint m_attemptedAt;
    QTimer m_reconnecting{this};
    std::chrono::milliseconds m_reconnectInterval = timing::reconnectInterval;

    std::chrono::milliseconds m_ownSilenceLimit{0};
    std::chrono::milliseconds m_waitInFlight{0};
    QString m_writeProblem;

    /** Runs while bytes may be held. */
    QTimer m_watching{this};
    qint64 m_written = 0; ///< bytes handed over since the link is up
    qint64 m_left = 0;    ///< of them, those that the link was once seen not to hold any longer
    TimePoint m_lastLeftAt;

    QTimer m_discarding{this};
    TimePoint m_discardAskedAt;
    qint64 m_thrownAway = 0; ///< bytes, until the link is made anew after it

    /** Runs while the link connects anew after bytes were thrown away that nobody had taken. */
    QTimer m_losing{this};
    qint64 m_silentBytes = 0;
};

} // namespace biz::host

#endif
