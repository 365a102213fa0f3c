#ifndef BIZ_GATEWAY_BROKER_READER_H
#define BIZ_GATEWAY_BROKER_READER_H

#include <biz_gateway/config/gateway_config.h>
#include <common/json/json_reader.h>

namespace biz::gateway {

/**
 * Reads the member `broker` of a configuration. Notes it when the broker is on another machine and the way to it is
 * not encrypted, or the gateway has no credentials for it.
 */
BrokerSettings readBroker(const tools::ObjectReader &file, const QString &site, const QString &folder);

/** Whether the host is this machine, by its loopback interface. */
bool isLoopback(const QString &host);

/** Whether the text can be subscribed to: '+' is a whole level, and '#' the last one. */
bool isTopicFilter(const QString &text);

} // namespace biz::gateway

#endif
