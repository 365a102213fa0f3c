#ifndef BIZ_GATEWAY_COMMAND_MESSAGE_H
#define BIZ_GATEWAY_COMMAND_MESSAGE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <biz_gateway/broker/message.h>
#include <biz_gateway/topics/topics.h>
#include <serve/request_p.h>

namespace biz::gateway {

/** What a message asks for, or why it is refused. */
struct CommandMessage
{
    host::Request request;
    QString id;        ///< as far as the message has one
    QByteArray digest; ///< equal for the same command to the same device, and for no other one
    QString problem;   ///< empty: it can be obeyed
};

/** Reads what was sent to a device: the vocabulary of `biz_console serve`, in which `do` may be left out. */
CommandMessage readCommandMessage(const Message &message, const Address &address);

} // namespace biz::gateway

#endif
