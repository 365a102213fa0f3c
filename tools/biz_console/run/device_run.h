#ifndef BIZ_CONSOLE_DEVICE_RUN_H
#define BIZ_CONSOLE_DEVICE_RUN_H

#include <memory>

#include <QtCore/QDateTime>

#include <biz_console/run/session_run.h>
#include <biz_console/session/session.h>
#include <host/device_host.h>
#include <host/metrics.h>

namespace biz::console {

/** Plays a session against one device and reports what happens. */
class DeviceRun : public SessionRun
{
    Q_OBJECT

public:
    DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const RunPlan &plan, QTextStream &err);

    host::HostMetrics metrics() const { return host::metricsOf(m_host); }

protected:
    bool startHost(QString *error) override;
    host::StopReport stopHost(int deadlineMs) override { return m_host.stop(deadlineMs); }
    host::Counters counters() const override { return m_host.counters(); }
    QString whatIsOpened() const override { return m_linkName; }
    RunStart description() const override;
    bool give(const WalkStep &step, QString *error) override;
    bool complete(host::Event *event) override;
    QString nameOf(int command) const override { return m_session.commands.at(command).name; }
    int waitingInHost() const override { return m_host.waiting(); }
    int pendingInHost() const override { return m_host.pending(); }
    int longestWaitMs() const override;
    bool endWriting() override { return m_host.endWriting(); }
    int repliesUnderWay() const override { return m_host.repliesUnderWay(); }
    int commandsGivenAhead() const override;

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
