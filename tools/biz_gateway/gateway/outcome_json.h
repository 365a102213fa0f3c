#ifndef BIZ_GATEWAY_OUTCOME_JSON_H
#define BIZ_GATEWAY_OUTCOME_JSON_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <biz_gateway/gateway/refusal.h>
#include <host/event.h>

/** What a gateway answers: the vocabulary of `biz_console serve`, and with it the client whose id it is. */
namespace biz::gateway {

/** The payload that tells an event; without a client there is no such key. */
QByteArray payloadOf(const host::Event &event, const QString &client = {});

/** The outcome of a command that was given by a gateway that was killed. */
QByteArray interruptedOutcome(const QString &client, const QString &id, const QString &device);

QByteArray refusalPayload(const QString &client, const QString &id, const QString &device, const Refusal &refusal);

} // namespace biz::gateway

#endif
