#ifndef BIZ_HOST_OSD_EVENTS_P_H
#define BIZ_HOST_OSD_EVENTS_P_H

#include <QtCore/QHash>
#include <QtCore/QPointer>

#include <commands/command_tap_p.h>
#include <events/command_ids_p.h>
#include <host/event_source.h>
#include <host/osd_host.h>

namespace biz::host {

/** What happens in an OsdHost. */
class OsdEvents : public EventSource, private CommandTap<model_OsdParam>
{
public:
    explicit OsdEvents(OsdHost *host);
    ~OsdEvents() override;

    QJsonObject about() const override;
    QJsonObject state() const override;

private:
    void connectReplies();

    void onGiven(Ticket ticket, const model_OsdParam &command, const CommandOptions &options) override;
    void onWriting(Ticket ticket, int attempt, const model_OsdParam &command) override;
    void onSent(Ticket ticket, const model_OsdParam &command);
    void onEnded(Ticket ticket, const OsdCommandResult &result);
    void onLate(Ticket ticket, const model_OsdParam &reply, double afterEndMs);
    void onForeign(const QString &sender, const model_OsdParam &reply);
    void onRefused(const QString &sender, int bytes, const QString &why);
    void onSocketError(const QString &why);

    Event eventOf(EventKind kind, Ticket ticket, const model_OsdParam &record) const;

    QPointer<OsdHost> m_host;
    CommandIds m_ids;
    QHash<Ticket, model_OsdParam> m_written; ///< until they end
};

} // namespace biz::host

#endif
