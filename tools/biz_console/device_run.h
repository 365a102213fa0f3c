#ifndef BIZ_CONSOLE_DEVICE_RUN_H
#define BIZ_CONSOLE_DEVICE_RUN_H

#include <memory>

#include <QtCore/QHash>

#include <biz_console/session.h>
#include <biz_console/session_run.h>
#include <host/biz_devicehost.h>

namespace biz::console {

/** Plays a session against one device and reports what happens. */
class DeviceRun : public SessionRun
{
    Q_OBJECT

public:
    DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const Output &output);

    /** Shows mismatches and the summary only. */
    void beQuiet() { report().printer().beQuiet(); }

protected:
    bool startHost(QString *error) override;
    host::StopReport stopHost(int deadlineMs) override { return m_host.stop(deadlineMs); }
    host::Counters counters() const override { return m_host.counters(); }
    QString whatIsOpened() const override { return m_linkName; }
    QString progress() const override;

private:
    void connectHost();
    void connectReplies();
    void enqueueSome();
    void countNeverGiven() override;

    void onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command);
    void onEnded(host::Ticket ticket, const host::CommandResult &result);
    void onReply(host::Ticket ticket, Event event, const model_Protocoldata &reply, const QString &detail);
    void onForeign(const model_Protocoldata &reply);

    QString label(host::Ticket ticket, const QString &codes) const;

    DeviceSession m_session;
    int m_nextCommand = 0; ///< the place in the session of what is to be given to the host next
    int m_nextNumber = 1;
    biz_DeviceHost m_host;
    QString m_linkName;

    /** What a command's lines show beside its name, from its first sending to its end. */
    QHash<host::Ticket, model_Protocoldata> m_sent;
    host::Ticket m_lastSent = 0;
};

} // namespace biz::console

#endif
