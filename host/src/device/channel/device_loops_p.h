#ifndef BIZ_HOST_DEVICE_LOOPS_P_H
#define BIZ_HOST_DEVICE_LOOPS_P_H

#include <biz_cmdswork/biz_cmdswork.h>
#include <commands/ticket_source_p.h>
#include <loops/channel_loops_p.h>

namespace biz::host {

/** What a loop of the device channel saw. */
struct DeviceMessage
{
    enum class Kind {
        Announced, ///< a command is to be written, for the first time or again
        Accepted,  ///< a reply passed the rules
    };

    Kind kind;
    model_Protocoldata record;
    TimePoint at;
    bool closedGate = false; ///< Announced: the gate is closed; only the take of a command closes it
};

/** The loops of the device channel. They run while a host runs. */
class DeviceLoops : public ChannelLoops<biz_CMDSWork, DeviceMessage>
{
public:
    static DeviceLoops &instance();

    TicketSource &tickets() { return m_tickets; }

private:
    DeviceLoops();
    ~DeviceLoops() = default;
    void connectWorker();
    void endWithProcess();

    TicketSource m_tickets;
};

} // namespace biz::host

#endif
