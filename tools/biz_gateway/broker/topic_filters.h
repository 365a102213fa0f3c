#ifndef BIZ_GATEWAY_TOPIC_FILTERS_H
#define BIZ_GATEWAY_TOPIC_FILTERS_H

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::gateway {

/** Whether something can be published to the topic, and one of the filters stands for it. */
bool isOneOf(const QStringList &filters, const QString &topic);

} // namespace biz::gateway

#endif
