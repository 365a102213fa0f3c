#ifndef BIZ_HOST_DEVICE_GATE_P_H
#define BIZ_HOST_DEVICE_GATE_P_H

#include <deque>
#include <functional>
#include <optional>

#include <QtCore/QTimer>

#include <device/device_commands_p.h>

namespace biz::host {

/**
 * Decides when the channel's gate is opened, and when commands are handed over: one at a time, so
 * that all others wait where they can be steered. What has been handed over is never taken back: a
 * command that has ended meanwhile is let through and not written.
 */
class DeviceGate
{
public:
    /** `mayHandOver` says whether the link can take a command now. */
    DeviceGate(DeviceCommands *commands, std::function<bool()> mayHandOver, QObject *host);

    /** Pipelined: a few commands are handed over ahead, since nothing closes the gate. */
    void setPipelined(bool on);
    bool isPipelined() const { return m_isPipelined; }

    /** Also of the quiet time that is running. */
    void setSettleTime(std::chrono::milliseconds time);

    /** A run begins with empty queues and an open gate, or has ended. */
    void reset();

    /**
     * Whether an announced record has just been taken by the channel; else it is a resend. A resend of a command that
     * was put back can come when the command is ahead again: it has the sequence byte of the last take.
     */
    bool isTake(const model_Protocoldata &record) const;

    /** The channel has taken the command of this record. */
    void noteTake(const model_Protocoldata &record, bool closedGate);

    /** The library has opened the gate by itself: it has given a command up. */
    void noteGiveUp() { m_isClosed = false; }

    /** A reply was accepted: the next command waits for the settle time. */
    void beginQuietTime(TimePoint arrival);

    /**
     * Opens a gate that is closed for nothing, and hands over what may be; to be called after each
     * change of what these depend on.
     */
    void advance();

private:
    bool isQuietTimeOver();
    int room(bool isClosed) const;

    DeviceCommands *const m_commands;
    const std::function<bool()> m_mayHandOver;
    bool m_isPipelined = false;
    std::deque<quint32> m_ahead;       ///< tags of what was handed over and not taken yet, ended commands included
    std::optional<quint8> m_lastTaken; ///< sequence byte; each take has another one than the take before it
    bool m_isClosed = false;           ///< by a take, and not opened since, as far as this thread knows
    std::chrono::milliseconds m_settleTime{0};
    TimePoint m_lastReply = TimePoint::min();
    QTimer m_quietTimer;
};

} // namespace biz::host

#endif
