#ifndef BIZ_HOST_DEVICE_EVENTS_P_H
#define BIZ_HOST_DEVICE_EVENTS_P_H

#include <QtCore/QHash>
#include <QtCore/QPointer>

#include <commands/command_tap_p.h>
#include <events/command_ids_p.h>
#include <host/device_host.h>
#include <host/event_source.h>

namespace biz::host {

/** What happens in a DeviceHost. */
class DeviceEvents : public EventSource, private CommandTap<model_Protocoldata>
{
public:
    explicit DeviceEvents(DeviceHost *host);
    ~DeviceEvents() override;

    QJsonObject about() const override;
    QJsonObject state() const override;

private:
    void connectReplies();

    void onGiven(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options) override;
    void onWriting(Ticket ticket, int attempt, const model_Protocoldata &command) override;
    void onSent(Ticket ticket, int attempt, const model_Protocoldata &command);
    void onEnded(Ticket ticket, const CommandResult &result);
    void onRejected(Ticket ticket, const model_Protocoldata &reply, const ReplyJudgement &judgement);
    void onLate(Ticket ticket, const model_Protocoldata &reply, double afterEndMs);
    void onRefused(int bytes, const QString &why);
    void onLinkStateChanged(const LinkStatus &status);

    Event eventOf(EventKind kind, Ticket ticket, const model_Protocoldata &record) const;

    QPointer<DeviceHost> m_host;
    CommandIds m_ids;
    QHash<Ticket, model_Protocoldata> m_written; ///< until they end
};

} // namespace biz::host

#endif
