#ifndef BIZ_HOST_STATE_KEYS_P_H
#define BIZ_HOST_STATE_KEYS_P_H

#include <host/event.h>

namespace biz::host {

/** What the `state` line tells of a host of either channel. */
template<typename Host>
QJsonObject stateKeys(const Host &host)
{
    const Counters counters = host.counters();
    return {
        {QStringLiteral("waiting"), host.waiting()},
        {QStringLiteral("pending"), host.pending()},
        {QStringLiteral("counters"), toJson(counters)},
        {QStringLiteral("roundTrip"), roundTripToJson(counters)},
    };
}

} // namespace biz::host

#endif
