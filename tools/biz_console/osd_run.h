#ifndef BIZ_CONSOLE_OSD_RUN_H
#define BIZ_CONSOLE_OSD_RUN_H

#include <QtCore/QHash>

#include <biz_console/osd_table.h>
#include <biz_console/session.h>
#include <biz_console/session_run.h>
#include <host/biz_osdhost.h>

namespace biz::console {

struct OsdRunOptions
{
    QString localAddress;
    bool showEvents = false;
    bool showAllDevices = false;
};

/** Plays a session against many OSD devices at once and reports what happens. */
class OsdRun : public SessionRun
{
    Q_OBJECT

public:
    OsdRun(OsdSession session, const OsdRunOptions &options, const Output &output);

protected:
    bool startHost(QString *error) override;
    host::StopReport stopHost(int deadlineMs) override { return m_host.stop(deadlineMs); }
    host::Counters counters() const override { return m_host.counters(); }
    QString whatIsOpened() const override { return QStringLiteral("the OSD channel"); }
    QString progress() const override;
    void beforeStop() override;
    void printResults() override;

private:
    void connectHost();
    void enqueueAll();
    bool enqueue(const OsdCommand &command, const QString &device, int number);

    void onSent(host::Ticket ticket, const model_OsdParam &command);
    void onEnded(host::Ticket ticket, const host::OsdCommandResult &result);
    void onReply(host::Ticket ticket, Event event, const QString &detail);
    void onForeign(const QString &sender);

    void print(const QString &command, const QString &event, double roundTripMs, const QString &detail);
    QString label(host::Ticket ticket) const;

    OsdSession m_session;
    OsdRunOptions m_options;
    biz_OsdHost m_host;

    struct DeviceTimes
    {
        RoundTrips roundTrips;
        double lastAnswerSeconds = 0.0;
    };
    QHash<QString, DeviceTimes> m_times;
    QVector<OsdTableRow> m_rows; ///< as they stood when the host was stopped
};

} // namespace biz::console

#endif
