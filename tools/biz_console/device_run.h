#ifndef BIZ_CONSOLE_DEVICE_RUN_H
#define BIZ_CONSOLE_DEVICE_RUN_H

#include <memory>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_console/run_report.h>
#include <biz_console/session.h>
#include <host/biz_devicehost.h>

namespace biz::console {

/** Plays a session against one device and reports what happens. */
class DeviceRun : public QObject
{
    Q_OBJECT

public:
    DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const Output &output);

    /** Starts; finished() follows, from the event loop. */
    void start();

    /** Stops before the session is over; finished() follows within two seconds. */
    void interrupt();

Q_SIGNALS:
    void finished(int exitCode);

private:
    void connectHost();
    void enqueueAll();
    void breakOff(const QString &problem, ExitCode code);
    void finishIfDone();
    void finish();
    void showProgress();

    void onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command);
    void onEnded(host::Ticket ticket, const host::CommandResult &result);
    void onReply(host::Ticket ticket, Event event, const model_Protocoldata &reply, const QString &detail);
    void onForeign(const model_Protocoldata &reply);

    QString label(host::Ticket ticket, const QString &codes) const;
    void print(host::Ticket ticket, int sequence, const QString &event, const QString &detail,
               double roundTripMs = -1.0);

    enum class Phase { Connecting, Running, Grace, Stopping, Finished };

    DeviceSession m_session;
    RunReport m_report;
    biz_DeviceHost m_host;
    QString m_linkName;
    Phase m_phase = Phase::Connecting;
    QTimer m_progress;
    QTimer m_limit; ///< of the phase

    /** What a command's lines show beside its name, from its first sending to its end. */
    QHash<host::Ticket, model_Protocoldata> m_sent;
    host::Ticket m_lastSent = 0;
};

} // namespace biz::console

#endif
