#ifndef BIZ_CONSOLE_DEVICE_RUN_H
#define BIZ_CONSOLE_DEVICE_RUN_H

#include <memory>

#include <QtCore/QDateTime>
#include <QtCore/QHash>

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
    QString nameOf(int command) const override { return m_session.commands.at(command).name; }
    int waitingInHost() const override { return m_host.waiting(); }
    int pendingInHost() const override { return m_host.pending(); }
    int longestWaitMs() const override;
    bool endWriting() override { return m_host.endWriting(); }
    int repliesUnderWay() const override { return m_host.repliesUnderWay(); }
    int commandsGivenAhead() const override;

private:
    void connectHost();
    void connectReplies();

    void onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command);
    QString reasonOf(const host::LinkStatus &status);
    void onLinkStateChanged(const host::LinkStatus &status);
    void onEnded(host::Ticket ticket, const host::CommandResult &result);
    void onRejected(host::Ticket ticket, const model_Protocoldata &reply, const host::ReplyJudgement &judgement);
    void onLate(host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs);
    void onDuplicate(host::Ticket ticket, const model_Protocoldata &reply);
    void onForeign(const model_Protocoldata &reply);

    void onRefused(int bytes, const QString &why);

    DeviceSession m_session;
    host::DeviceHost m_host;
    std::unique_ptr<host::DeviceLink> m_link; ///< until the host takes it over
    QString m_linkName;
    bool m_reconnects;
    QDateTime m_lostSince; ///< null while the link has not been lost

    QHash<host::Ticket, model_Protocoldata> m_sent; ///< as they were sent, until they end
    host::Ticket m_lastSent = 0;
};

} // namespace biz::console

#endif
