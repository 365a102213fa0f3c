#ifndef BIZ_GATEWAY_INSTANCE_H
#define BIZ_GATEWAY_INSTANCE_H

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace biz::gateway {

/** One run of a gateway, told from all others by what its status says. */
class Instance
{
public:
    /** The one that begins now. */
    Instance();

    /** "instance" and "since". */
    QJsonObject keys() const;

    /** Whether a status is that of another gateway. */
    bool isOther(const QJsonObject &status) const;

    /** Whether it is that of one that began after this one. */
    bool isYounger(const QJsonObject &status) const;

private:
    QString m_name;
    QDateTime m_since;
};

} // namespace biz::gateway

#endif
