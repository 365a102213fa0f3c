#include <biz_gateway/gateway/instance.h>

#include <QtCore/QUuid>

namespace biz::gateway {

Instance::Instance()
    : m_name(QUuid::createUuid().toString(QUuid::WithoutBraces))
    , m_since(QDateTime::currentDateTimeUtc())
{
}

QJsonObject Instance::keys() const
{
    return {{QStringLiteral("instance"), m_name}, {QStringLiteral("since"), m_since.toString(Qt::ISODateWithMs)}};
}

bool Instance::isOther(const QJsonObject &status) const
{
    const QString name = status.value(QStringLiteral("instance")).toString();
    return !name.isEmpty() && name != m_name;
}

bool Instance::isYounger(const QJsonObject &status) const
{
    const QString since = status.value(QStringLiteral("since")).toString();
    return isOther(status) && QDateTime::fromString(since, Qt::ISODateWithMs) > m_since;
}

} // namespace biz::gateway
