#ifndef BIZ_HOST_OSD_LOOPS_P_H
#define BIZ_HOST_OSD_LOOPS_P_H

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <commands/ticket_source_p.h>
#include <loops/channel_loops_p.h>

namespace biz::host {

/** What a loop of the OSD channel saw. */
struct OsdMessage
{
    enum class Kind {
        Announced, ///< a command is to be written
        Received,  ///< a reply has passed the receive loop
    };

    Kind kind;
    model_OsdParam record;
    TimePoint at;
};

/**
 * The loops of the OSD channel. They are started once and run until the process ends: a restart would
 * revive the former time-out thread, which the library has detached and which lives for half a second
 * more, beside the new one.
 */
class OsdLoops : public ChannelLoops<biz_Osd_CMDSWork, OsdMessage>
{
public:
    static OsdLoops &instance();

    TicketSource &tickets() { return m_tickets; }

    /** A command was let through that nobody wants to be written: its device is free. */
    void letThrough(const model_OsdParam &command);

private:
    OsdLoops();
    ~OsdLoops() = default;
    void connectWorker();
    void endWithProcess();

    TicketSource m_tickets;
};

} // namespace biz::host

#endif
