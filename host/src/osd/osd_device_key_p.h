#ifndef BIZ_HOST_OSD_DEVICE_KEY_P_H
#define BIZ_HOST_OSD_DEVICE_KEY_P_H

#include <QtNetwork/QHostAddress>

namespace biz::host {

/** The canonical text of an address; a socket that takes both families shows IPv4 senders in an IPv6 spelling. */
inline QString osdDeviceKey(const QHostAddress &address)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4).toString() : address.toString();
}

} // namespace biz::host

#endif
