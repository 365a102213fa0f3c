#ifndef BIZ_CONSOLE_OSD_RUN_H
#define BIZ_CONSOLE_OSD_RUN_H

#include <QtCore/QSet>

#include <biz_console/run/session_run.h>
#include <biz_console/session/session.h>
#include <host/metrics.h>
#include <host/osd_host.h>

namespace biz::console {

struct OsdRunOptions
{
    QString localAddress; ///< to send from; empty: any
};

/** Plays a session against many OSD devices at once and reports what happens. */
class OsdRun : public SessionRun
{
    Q_OBJECT

public:
    OsdRun(OsdSession session, const OsdRunOptions &options, const RunPlan &plan, QTextStream &err);

    host::HostMetrics metrics() const { return host::metricsOf(m_host); }

protected:
    bool startHost(QString *error) override;
    host::StopReport stopHost(int deadlineMs) override { return m_host.stop(deadlineMs); }
    host::Counters counters() const override { return m_host.counters(); }
    QString whatIsOpened() const override { return QStringLiteral("the OSD channel"); }
    RunStart description() const override;
    bool give(const WalkStep &step, QString *error) override;
    bool complete(host::Event *event) override;
    QString nameOf(int command) const override { return m_session.commands.at(command).name; }
    int waitingInHost() const override { return m_host.waiting(); }
    int pendingInHost() const override { return m_host.pending(); }
    int longestWaitMs() const override { return longestWaitOf(m_session.commands); }
    int commandsGivenAhead() const override { return maxOsdCommands; }
    void beforeStop() override;
    QVector<OsdDeviceTotals> deviceRows() const override { return m_rows; }

private:
    Expectation expectationOf(const OsdSessionCommand &command, const QString &device) const;

    OsdSession m_session;
    OsdRunOptions m_options;
    host::OsdHost m_host;
    QSet<QString> m_toldErrors;
    QVector<OsdDeviceTotals> m_rows; ///< as they stood when the host was stopped
};

} // namespace biz::console

#endif
