#ifndef BIZ_OSD_CMDSWORK_H
#define BIZ_OSD_CMDSWORK_H

#include <mutex>
#include <queue>

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <manage/biz_manage_export.h>
#include <model/model_osdparam.h>

/**
 * The OSD command channel: sends on-screen-display commands to many devices at once, keyed
 * by IP address, with at most one command in flight per device.
 *
 * The channel does no input or output of its own. Its device tables, queues and locks are
 * static: there is one channel per process, and every object's loops work on it.
 *
 * ## The host's duties, in order
 *  1. Create the object and connect to the signals with Qt::DirectConnection.
 *  2. Run a1_GetQueueWork() and a1_receiveGetQueueWork() each on a thread of its own. The
 *     former starts a1_TimeOutWork() on a detached thread; do not run that one yourself.
 *  3. Hand commands over with addToSendQueue(), from any thread, at any time.
 *  4. On signalSendMessage() send the record to the device that its `qsIp` names.
 *  5. Hand each reply over with addToReceiveQueue(): it frees the device for its next
 *     command, then queues the reply for signalSendReceiveMessage().
 *  6. To stop: set both run flags to false, join both threads, and keep the object alive
 *     for the time-out thread (see Lifetime).
 *
 * ## Ownership of the records that signals point to
 * The pointer is valid during the emission only; the receiver copies the record. With a
 * queued connection it dangles.
 *
 * ## Threads
 * signalSendMessage() and signalSendMessageUipro() leave on the send loop, always as a
 * pair for each command; signalSendReceiveMessage() leaves on the receive loop. The
 * time-out loop emits nothing. Everything else runs on the caller's thread.
 *
 * ## Locks
 * `HexCmdlock` guards `m_qsIp`, `queueHexCmd`, `m_bRetFlag` and, of every object,
 * `m_mapSendTime` and `m_mapCurSend`; `receiveHexCmdlock` guards `receivequeueHexCmd`.
 * Nothing holds both, and no lock is held during an emission. Debug messages are written
 * while `HexCmdlock` is held, so a Qt message handler must not call into the channel.
 *
 * ## Reads without a lock
 * The two run flags only; a change takes effect at the loops' next test of them.
 *
 * ## Units
 * `iWaitTime` is in milliseconds, but counts in whole seconds (divided by 1000 toward
 * zero) against a wall clock of whole seconds that is looked at every 500 ms: a command
 * is given up between just under a second before and half a second after its wait. A wall
 * clock that is set back keeps a device waiting until the old deadline comes.
 *
 * ## Lifetime
 * The destructor clears both run flags and waits for nobody. The detached time-out thread uses the object
 * for up to 500 ms plus one pass after `m_bSendRun` has been cleared, however soon the send loop itself
 * returned: the object must outlive that, and when the loop is started again within it, the old thread goes
 * on beside the new one. Until then its last pass can still free devices. Two objects share the devices but
 * not `m_mapSendTime` and `m_mapCurSend`, so each object's time-out loop frees, at its next pass, the
 * devices that the other one dispatched to.
 *
 * ## Errors
 * There are none of the channel's own: an unknown IP is passed over, and a command that is
 * never answered is given up without a word. What a slot throws, and the
 * std::system_error of a mutex that fails to lock, leave the operation or thread body; so
 * does that of a time-out thread that cannot be started, out of a1_GetQueueWork().
 */
class BIZ_MANAGE_EXPORT biz_Osd_CMDSWork : public QObject
{
    Q_OBJECT

public:
    explicit biz_Osd_CMDSWork(QObject *parent = nullptr);
    ~biz_Osd_CMDSWork() override;

    // --- Guarded by HexCmdlock ------------------------------------------------------

    /** The known devices, in the order in which they were first seen. */
    static QVector<QString> m_qsIp;

    /** Commands waiting for each device: entry i belongs to entry i of `m_qsIp`. */
    static QVector<std::queue<model_OsdParam>> queueHexCmd;

    /** Per device: true = free for its next command, false = a reply is awaited. */
    static QMap<QString, bool> m_bRetFlag;

    static std::mutex HexCmdlock;

    // --- Guarded by receiveHexCmdlock -----------------------------------------------

    /** Replies of all devices, in the order of their arrival. */
    static std::queue<model_OsdParam> receivequeueHexCmd;

    static std::mutex receiveHexCmdlock;

    // --- Per object -----------------------------------------------------------------

    /** The send loop and the time-out loop run while true. True from construction. */
    bool m_bSendRun = true;

    /** The receive loop runs while true. True from construction. */
    bool m_bRecvRun = true;

    /**
     * When each device's last command was dispatched, in whole seconds since
     * 1970-01-01 UTC. Guarded by HexCmdlock.
     */
    QMap<QString, quint32> m_mapSendTime;

    /** The command last dispatched to each device. Guarded by HexCmdlock. */
    QMap<QString, model_OsdParam> m_mapCurSend;

    // --- Operations, on the caller's thread -----------------------------------------

    /** Files a command for the device that its `qsIp` names; a new IP is a new device. */
    static void addToSendQueue(model_OsdParam data);

    /** Frees (true) or holds (false) a known device; any other IP is passed over. */
    static void setRetFlag(QString ip, bool value);

    /** Frees the device that the reply comes from, then queues the reply. */
    static void addToReceiveQueue(model_OsdParam data);

    /**
     * Forgets every device and every command that waits or is in flight. Replies already
     * queued are still delivered, and the loops go on.
     */
    void clearQueue();

    // --- Thread bodies --------------------------------------------------------------

    /**
     * The send loop: starts the time-out loop on a detached thread, then makes one pass
     * every 3 ms until `m_bSendRun` is false. Every free device gets at most one command
     * per pass.
     */
    void a1_GetQueueWork();

    /** The time-out loop: every 500 ms frees the devices whose reply is overdue. */
    void a1_TimeOutWork();

    /** The receive loop: one reply at most every 5 ms until `m_bRecvRun` is false. */
    void a1_receiveGetQueueWork();

Q_SIGNALS:
    /** Send this command (`model_OsdParam *`) to the device that its `qsIp` names. */
    void signalSendMessage(void *);

    /** A reply (`model_OsdParam *`) has come. */
    void signalSendReceiveMessage(void *);

    /** The command just announced (`model_OsdParam *`), for the host's display. */
    void signalSendMessageUipro(void *);
};

#endif
