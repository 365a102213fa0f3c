#ifndef BIZ_CONSOLE_OSD_SIDE_H
#define BIZ_CONSOLE_OSD_SIDE_H

#include <memory>

#include <QtCore/QSet>

#include <biz_console/run/run_plan.h>
#include <biz_console/session/session.h>
#include <biz_console/session/session_walk.h>
#include <host/datagram_transport.h>
#include <host/event_source.h>
#include <host/metrics.h>
#include <host/osd_host.h>

namespace biz::console {

struct OsdRunOptions
{
    QString localAddress;                               ///< to send from; empty: any
    std::unique_ptr<host::DatagramTransport> transport; ///< in place of UDP
};

/** A session against many OSD devices at once, as SessionRun plays it. DeviceSide has the same functions. */
class OsdSide
{
public:
    OsdSide(OsdSession session, OsdRunOptions options);

    RunFacts facts() const;
    host::Counters counters() const { return m_host.counters(); }
    host::HostMetrics metrics() const { return host::metricsOf(m_host); }
    int waiting() const { return m_host.waiting(); }
    int pending() const { return m_host.pending(); }
    QVector<OsdDeviceTotals> devices() const;

    std::unique_ptr<host::EventSource> events() { return host::eventsOf(&m_host); }

    /** Adds what the session knows beyond the host; false for an event that is not worth telling. */
    bool complete(host::Event *event);

    // These tell by `false` that the host refuses, and error() why.
    bool prepare();
    bool start() { return m_host.start(); }
    bool give(const WalkStep &step);
    QString error() const { return m_host.errorString(); }

    /** A silent device answers nothing, whatever a command expects of the others. */
    Expectation expectationOf(const WalkStep &step) const;

    host::StopReport stop(int deadlineMs) { return m_host.stop(deadlineMs); }

    /** Datagrams have no end that could tell when the last reply has come. */
    bool endWriting() { return false; }
    int repliesUnderWay() const { return 0; }

private:
    OsdSession m_session;
    OsdRunOptions m_options;
    host::OsdHost m_host;
    QSet<QString> m_toldErrors;
};

} // namespace biz::console

#endif
