#ifndef BIZ_CONSOLE_DEVICE_SIDE_H
#define BIZ_CONSOLE_DEVICE_SIDE_H

#include <memory>

#include <QtCore/QDateTime>

#include <biz_console/run/run_plan.h>
#include <biz_console/session/session.h>
#include <biz_console/session/session_walk.h>
#include <host/device_host.h>
#include <host/event_source.h>
#include <host/metrics.h>

namespace biz::console {

/** A session against one device, as SessionRun plays it. OsdSide has the same functions. */
class DeviceSide
{
public:
    DeviceSide(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const RunPlan &plan);

    RunFacts facts() const;
    host::Counters counters() const { return m_host.counters(); }
    host::HostMetrics metrics() const { return host::metricsOf(m_host); }
    int waiting() const { return m_host.waiting(); }
    int pending() const { return m_host.pending(); }
    QVector<OsdDeviceTotals> devices() const { return {}; }

    std::unique_ptr<host::EventSource> events() { return host::eventsOf(&m_host); }

    /** Adds what the session knows beyond the host; false for an event that is not worth telling. */
    bool complete(host::Event *event);

    // These tell by `false` that the host refuses, and error() why.
    bool prepare();
    bool start() { return m_host.start(); }
    bool give(const WalkStep &step);
    QString error() const { return m_host.errorString(); }

    Expectation expectationOf(const WalkStep &step) const { return m_session.commands.at(step.command).expected; }

    host::StopReport stop(int deadlineMs) { return m_host.stop(deadlineMs); }

    /** Tells the device that no command follows; false where nothing tells when its last reply has come. */
    bool endWriting() { return m_host.endWriting(); }

    /** Replies that the host holds and has not told of. */
    int repliesUnderWay() const { return m_host.repliesUnderWay(); }

private:
    QString reasonOf(const host::LinkStatus &status);

    DeviceSession m_session;
    host::DeviceHost m_host;
    std::unique_ptr<host::DeviceLink> m_link; ///< until the host takes it over
    QString m_linkName;
    bool m_reconnects;
    QDateTime m_lostSince; ///< null while the link has not been lost
    host::Ticket m_lastSent = 0;
};

} // namespace biz::console

#endif
