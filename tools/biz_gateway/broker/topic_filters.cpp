#include <biz_gateway/broker/topic_filters.h>

#include <algorithm>

#include <mosquitto.h>

namespace biz::gateway {

bool isOneOf(const QStringList &filters, const QString &topic)
{
    const QByteArray bytes = topic.toUtf8();
    const auto standsForIt = [&bytes](const QString &filter) {
        bool matches = false;
        return mosquitto_topic_matches_sub(filter.toUtf8().constData(), bytes.constData(), &matches) ==
                   MOSQ_ERR_SUCCESS &&
               matches;
    };
    return !topic.isEmpty() && mosquitto_pub_topic_check(bytes.constData()) == MOSQ_ERR_SUCCESS &&
           std::any_of(filters.begin(), filters.end(), standsForIt);
}

} // namespace biz::gateway
