#ifndef BIZ_HOST_DEVICE_TICKETS_P_H
#define BIZ_HOST_DEVICE_TICKETS_P_H

#include <array>
#include <vector>

#include <commands/command_history_p.h>
#include <commands/ended_command_p.h>
#include <commands/ticket_book_p.h>
#include <loops/host_clock_p.h>

namespace biz::host {

/** A command of the device channel from its enqueuing to its end. */
struct DeviceCommand
{
    Ticket ticket = 0;
    model_Protocoldata record;     ///< as the application gave it; byte 0 once it was announced
    int attempts = 0;              ///< announcements so far; 0: it waits in the channel's queue
    bool gated = false;            ///< its take closed the gate
    bool isAnswerUnderWay = false; ///< an accepted reply is on its way through the channel
    TimePoint writtenAt;           ///< its last write to the link
    QString lastProblem;           ///< what last went wrong with it, for the reason of a give-up
    CommandHistory history;
};

/**
 * The book of one channel's commands: which wait, which are in flight under which sequence
 * byte, and which used a sequence byte before. Used on the host's thread only.
 */
class DeviceTickets : public TicketBook<DeviceCommand>
{
public:
    using TicketBook::TicketBook;

    Ticket add(const model_Protocoldata &record);

    /**
     * The command has been announced for the first time under a sequence byte. Returns the
     * older command that was still in flight under the same byte, else 0.
     */
    Ticket markInFlight(DeviceCommand &command, quint8 sequence, bool gated);

    DeviceCommand *inFlight(quint8 sequence) { return find(m_inFlight[sequence]); }

    /** The command that the gate is closed for; null when there is none. */
    DeviceCommand *gatedInFlight() { return find(m_gated); }

    std::vector<Ticket> allInFlight() const;

    const EndedCommand &lastEnded(quint8 sequence) const { return m_ended[sequence]; }

    /** The command that ended last of those that had been sent, and its record. */
    const EndedCommand &latestEnded() const { return m_latestEnded; }
    const model_Protocoldata &latestEndedRecord() const { return m_latestEndedRecord; }

    void end(Ticket ticket, Outcome outcome);

    /** Takes all out of the book when none is in flight. */
    std::map<quint32, DeviceCommand> takeWaiting()
    {
        m_waiting = 0;
        return takeAll();
    }

    /** Commands in the channel's queue, as far as the host's thread knows. */
    int waiting() const { return m_waiting; }

private:
    static constexpr std::size_t sequenceBytes = 256;

    std::array<Ticket, sequenceBytes> m_inFlight{};
    std::array<EndedCommand, sequenceBytes> m_ended{};
    EndedCommand m_latestEnded;
    model_Protocoldata m_latestEndedRecord;
    Ticket m_gated = 0;
    int m_waiting = 0;
};

} // namespace biz::host

#endif
