#include <biz_gateway/gateway/outcome_json.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>

namespace biz::gateway {

namespace {

host::Event eventNow(host::EventKind kind, const QString &id, const QString &device)
{
    host::Event event;
    event.kind = kind;
    event.utcMs = QDateTime::currentMSecsSinceEpoch();
    event.id = id;
    event.device = device;
    return event;
}

QJsonObject keysOf(const QString &client)
{
    return client.isEmpty() ? QJsonObject() : QJsonObject{{QStringLiteral("client"), client}};
}

/** A message needs no line feed. */
QByteArray payload(const host::Event &event, const QJsonObject &more)
{
    QByteArray line = host::jsonLine(event, more);
    line.chop(1);
    return line;
}

} // namespace

QByteArray payloadOf(const host::Event &event, const QString &client)
{
    return payload(event, keysOf(client));
}

QByteArray interruptedOutcome(const QString &client, const QString &id, const QString &device)
{
    host::Event event = eventNow(host::EventKind::Interrupted, id, device);
    event.reason = QStringLiteral("the gateway ended while the device had it; the command may have been written");
    return payload(event, keysOf(client));
}

QByteArray refusalPayload(const QString &client, const QString &id, const QString &device, const Refusal &refusal)
{
    host::Event event = eventNow(host::EventKind::Error, id, device);
    event.reason = refusal.reason;
    QJsonObject keys = keysOf(client);
    keys.insert(QStringLiteral("code"), refusalName(refusal.code));
    return payload(event, keys);
}

} // namespace biz::gateway
