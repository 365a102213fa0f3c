#ifndef BIZ_HOST_OSD_RUN_P_H
#define BIZ_HOST_OSD_RUN_P_H

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <loops/channel_run_p.h>

namespace biz::host {

/** What a loop of the OSD channel saw. */
struct OsdMessage
{
    enum class Kind { Announced, Received };

    Kind kind;
    model_OsdParam record;
};

/** The loops of the OSD channel, and the time-out thread that they start. */
class OsdRun final : public ChannelRun<biz_Osd_CMDSWork, OsdMessage>
{
public:
    OsdRun(const std::function<void()> &onMessages, QObject *host);
    ~OsdRun() override;

    /** Before this a former time-out thread would free devices that a new run has just sent to. */
    static TimePoint mayBeginAt();

    void begin();

private:
    TimePoint detachedThreadsGoneAt() override;
};

} // namespace biz::host

#endif
