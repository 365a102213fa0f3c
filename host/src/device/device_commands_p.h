#ifndef BIZ_HOST_DEVICE_COMMANDS_P_H
#define BIZ_HOST_DEVICE_COMMANDS_P_H

#include <array>
#include <functional>
#include <vector>

#include <commands/command_book_p.h>
#include <commands/ended_command_p.h>
#include <host/device_host.h>

namespace biz::host {

using DeviceCommand = Command<model_Protocoldata, CommandResult>;

/**
 * The commands of the device channel: the book, and which sequence byte stands for which command in
 * flight, or for which ended one.
 */
class DeviceCommands : public CommandBook<DeviceHost, DeviceCommand>
{
public:
    DeviceCommands(DeviceHost *host, Outbox *outbox, TicketSource *tickets);

    /** All commands wait for one device. */
    Lane &lane() { return m_lane; }

    template<typename Change>
    void count(const Change &change)
    {
        statistics().count(nullptr, change);
    }

    // --- In flight

    /**
     * The channel has taken a command: it is in flight under the sequence byte of `record` from now on. An
     * older one that is still in flight under the same byte ends.
     */
    void markInFlight(DeviceCommand &command, const model_Protocoldata &record, bool closedGate);

    /** The command in flight under a sequence byte; null when there is none. */
    DeviceCommand *inFlight(quint8 sequence) { return find(m_inFlight[sequence]); }

    /** A command that was taken but not written waits again, before those that are behind it. */
    void putBack(DeviceCommand &command);

    /** Whether a command that was put back has yet to be taken before this one may be written. */
    bool isOvertaking(const DeviceCommand &command);

    /** All that are in flight, oldest first. */
    std::vector<Ticket> allInFlight();

    /** The command that the gate is closed for; null when there is none. */
    DeviceCommand *gated() { return find(m_gated); }

    // --- Ended

    /** Called when a command that had been written ends although nothing came for it. */
    void setWhenUnanswered(std::function<void()> call) { m_whenUnanswered = std::move(call); }

    void endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival);
    void giveUp(DeviceCommand &command, const QString &what);

    /** Ends every command; returns how many there were. */
    int endAll(Outcome outcome, const EndReason &reason);

    /** Ends what has not been written. */
    void endUnwritten(Outcome outcome, const QString &reason);

    /** The command that last used a sequence byte and has ended; its ticket is 0 when there is none. */
    const EndedCommand &lastEnded(quint8 sequence) const { return m_ended[sequence]; }

    /** The same of the command that ended last, whatever its sequence byte. */
    const EndedCommand &latestEnded() const { return m_latestEnded; }
    const model_Protocoldata &latestEndedRecord() const { return m_latestEndedRecord; }

private:
    static constexpr std::size_t sequenceBytes = 256;

    void forgetInFlight(const DeviceCommand &command);
    void noteEnd(const DeviceCommand &command, Outcome outcome);

    Lane m_lane;
    std::function<void()> m_whenUnanswered;
    std::array<Ticket, sequenceBytes> m_inFlight{};
    Ticket m_gated = 0;
    std::array<EndedCommand, sequenceBytes> m_ended;
    EndedCommand m_latestEnded;
    model_Protocoldata m_latestEndedRecord;
};

} // namespace biz::host

#endif
