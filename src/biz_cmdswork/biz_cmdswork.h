#ifndef BIZ_CMDSWORK_H
#define BIZ_CMDSWORK_H

#include <mutex>
#include <queue>

#include <QtCore/QList>
#include <QtCore/QObject>

#include <manage/biz_manage_export.h>
#include <model/model_protocoldata.h>

/**
 * The device command channel: releases queued commands to one connected device, one at a
 * time behind a gate, resends once when a reply is late, and judges every reply.
 *
 * The channel does no input or output of its own. All its queues, locks, counters and
 * flags are static: there is one channel per process, whatever the number of objects.
 *
 * ## The host's duties, in order
 *  1. Set `deviceType` to the model code of the connected device and, where commands are
 *     not to wait for replies, `nSysPlan` to a non-zero value.
 *  2. Create the object, connect to the signals with Qt::DirectConnection, set
 *     `m_bSendRun` and `m_bRecvRun` to true (the constructor leaves them unset), and run
 *     a1_GetQueueWork() and a1_receiveGetQueueWork() each on a thread of its own.
 *  3. Enqueue a command: lock `HexCmdlock`, push a record into `queueHexCmd`, unlock.
 *  4. On signalSendMessage() write the record to the device. The same record may come a
 *     second time (a resend, announced by signalInitCore() 20 ms earlier).
 *  5. For each reply: lock `receiveHexCmdlock`, push a record into `receivequeueHexCmd`,
 *     unlock.
 *  6. When a reply announced by signalSendReceiveMessage() settles the command in flight,
 *     set `bRetFlag` to true under `HexCmdlock`: the next command leaves on the next
 *     pass. The channel opens the gate itself only when it gives a command up or is
 *     cleared. It never matches replies with commands; that is the host's decision.
 *  7. To stop: set both run flags to false, join both threads, then destroy the object.
 *
 * ## Ownership of the records that signals point to
 * The pointer is the address of `m_curSend` or `m_curRecv` of the emitting object. The
 * receiver copies the record during the emission: the loop overwrites it at its next
 * take, so a queued connection may see a later record. The queues hold their records by
 * value.
 *
 * ## Threads
 * | signal                    | leaves on                                            |
 * |---------------------------|------------------------------------------------------|
 * | signalSendMessage()       | send loop; a resend also on a watchdog's own thread  |
 * | signalSendMessageUipro()  | send loop                                            |
 * | signalQueueSize()         | send loop                                            |
 * | signalInitCore()          | send loop; watchdog's own thread                     |
 * | signalSendReceiveMessage()| receive loop                                         |
 *
 * No lock is held during an emission, so a slot may take either lock. Everything else runs
 * on the caller's thread.
 *
 * ## Locks
 * `HexCmdlock` guards `queueHexCmd`, `iSN`, `bRetFlag`, `iTimeoutCount` and
 * `iWatchdogSleepCnt`; `receiveHexCmdlock` guards `receivequeueHexCmd`. Nothing holds both.
 * Debug messages may be written while `HexCmdlock` is held, so a Qt message handler must
 * not call into the channel.
 *
 * ## Reads without the lock, and what they ask of the host
 *  - The sizes of both queues, `bRetFlag`, `iSN` and `iTimeoutCount` are read without their
 *    lock to decide whether a pass has work; what matters is tested again under the lock.
 *    The number that signalQueueSize() reports can be stale.
 *  - `deviceType`, `nSysPlan`, `m_bSkipSendcmd` and the run flags have no lock: a change
 *    takes effect at the next pass of the loop that reads them.
 *  - Skip mode discards the queue without the lock. While it is on: no push, no clear, no
 *    watchdog, and no second worker on the channel.
 *  - A clear that lands between the send loop's look at the queue and its take leaves the
 *    gate closed with nothing in flight (`nSysPlan` 0): open it as in step 6. After
 *    timeoutClearQueue() in that moment, the command sent last can be resent although it
 *    was settled, since the gate is closed again and `iSN` has not moved.
 *  - Several workers share gate and counters, but each looks for itself. Where a pass of one overlaps
 *    a take of another, it can close the gate behind a command that was settled at once, open it over
 *    the command just sent, or resend a settled one. One worker for a channel has none of this.
 *  - A watchdog reads `m_curSend` while the send loop may take the next command into it;
 *    start one only where a reply settles the command well before its wait runs out.
 *
 * ## Units
 * `iWaitTime` is in milliseconds. A send-loop pass sleeps 10 ms but counts as 15 ms against it, so a
 * command waits for about two thirds of its `iWaitTime` before the resend, and as long again before it is
 * given up; the send loops of several workers all count. A watchdog waits for the whole `iWaitTime`.
 *
 * ## Lifetime
 * The destructor clears both run flags and waits for nobody: the host joins its loops
 * first. A watchdog uses the object for `iWaitTime` after its start, and for twice that
 * plus 20 ms when it resends (its successor is a detached thread): the object must live
 * at least so long.
 *
 * ## Errors
 * There are none of the channel's own. An unknown device type, command or sub-code is
 * accepted; an error log that cannot be opened is passed over. What a slot throws, and the
 * std::system_error of a mutex that fails to lock, leave the operation or thread body; so
 * does that of a successor thread that cannot be started, out of timeoutWatchdog().
 */
class BIZ_MANAGE_EXPORT biz_CMDSWork : public QObject
{
    Q_OBJECT

public:
    biz_CMDSWork();
    ~biz_CMDSWork() override;

    // --- Guarded by HexCmdlock ------------------------------------------------------

    /** Commands waiting to be sent. */
    static std::queue<model_Protocoldata> queueHexCmd;

    /** Sequence counter: its low byte is stamped into each command; wraps at 32 bits. */
    static int iSN;

    /** The gate: true when the command in flight is settled and the next one may go. */
    static bool bRetFlag;

    /** Time-outs counted for the command in flight, by the send loop and by watchdogs. */
    static int iTimeoutCount;

    /** Send-loop passes since the last send or resend. */
    static int iWatchdogSleepCnt;

    static std::mutex HexCmdlock;

    // --- Guarded by receiveHexCmdlock -----------------------------------------------

    /** Replies waiting to be judged. */
    static std::queue<model_Protocoldata> receivequeueHexCmd;

    static std::mutex receiveHexCmdlock;

    // --- Set by the host, read without a lock ---------------------------------------

    /** Model code of the connected device, -1 while unknown; picks the reply checker. */
    static int deviceType;

    /** 0: one command in flight, the gate closes at each send. Else: back to back. */
    static int nSysPlan;

    // --- Offered to the host, never read or written by the channel -------------------

    static QList<model_Protocoldata> ListCMDS;
    static int iTimeout;
    static bool iTimeDisplayToUI;

    // --- Per object -----------------------------------------------------------------

    /** The send loop runs while true. Set by the host before it starts the loop. */
    bool m_bSendRun;

    /** The receive loop runs while true. Set by the host before it starts the loop. */
    bool m_bRecvRun;

    /** The last command taken: the one in flight. */
    model_Protocoldata m_curSend;

    /** The last reply taken. */
    model_Protocoldata m_curRecv;

    /** While true, queued commands are discarded instead of sent. */
    bool m_bSkipSendcmd = false;

    // --- Thread bodies --------------------------------------------------------------

    /** The send loop: one pass every 10 ms until `m_bSendRun` is false. */
    void a1_GetQueueWork();

    /** The receive loop: one pass every 5 ms until `m_bRecvRun` is false. */
    void a1_receiveGetQueueWork();

    /**
     * Watches one command beside the send loop's own check: waits for the `iWaitTime` of
     * `m_curSend`, then resends or gives up if nothing has happened since. The watch is
     * void as soon as `iSN` differs from `sn`, the value that stands after the send.
     * Both guards count into `iTimeoutCount`, so a host that runs both gives up sooner.
     */
    void timeoutWatchdog(int sn);

    // --- Operations, on the caller's thread -----------------------------------------

    /** Discards every waiting command, opens the gate and ends the watch in flight. */
    void clearQueue();

    /** Discards every waiting command once more than 9 time-outs have been counted. */
    void timeoutClearQueue();

    /** Stores `skip` in `m_bSkipSendcmd`, without a lock. */
    void setSkipSendcmd(bool skip);

    /**
     * Sleeps for the `iWaitTime` of `m_curSend`; returns the result of the sleep call:
     * 0, or -1 at once for a negative wait, or -1 early when a signal interrupts it.
     */
    int setWatchdogSleepTime();

    // --- Judging replies: true accepts; safe on any thread --------------------------

    /** Judges a reply by the rules of the model that `deviceType` names. */
    bool checkRecvData(model_Protocoldata data);

    bool checkRecvData_ORLIX_A2(model_Protocoldata data);
    bool checkRecvData_ORLIX_A3(model_Protocoldata data);
    bool checkRecvData_ORLIX_A5(model_Protocoldata data);
    bool checkRecvData_ORLIX_A1MAX(model_Protocoldata data);
    bool checkRecvData_PVN410MAX(model_Protocoldata data);
    bool checkRecvData_PVN410MAX2(model_Protocoldata data);
    bool checkRecvData_K250(model_Protocoldata data);

    /** The 16-bit value high * 256 + low. */
    quint16 combineTwoByte(uchar low, uchar high);

    /**
     * Appends one line for a rejected reply to the day's file in "Errorlog" below the
     * working directory. Whatever fails is passed over. Takes no lock.
     */
    void writeErrorLog(model_Protocoldata data);

Q_SIGNALS:
    /** Write this command (`model_Protocoldata *`, in `m_curSend`) to the device. */
    void signalSendMessage(void *);

    /** A reply (`model_Protocoldata *`, in `m_curRecv`) has been accepted. */
    void signalSendReceiveMessage(void *);

    /** The command just announced (`model_Protocoldata *`), for the host's display. */
    void signalSendMessageUipro(void *);

    /** How many commands wait: after each take and every 20th blocked pass. */
    void signalQueueSize(int);

    /** A resend follows in 20 ms: bring the link into a state that can send. */
    void signalInitCore();
};

#endif
