#ifndef BIZ_HOST_OSD_DEVICE_KEY_P_H
#define BIZ_HOST_OSD_DEVICE_KEY_P_H

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QNetworkInterface>

namespace biz::host {

/**
 * The canonical text of an address. A socket that takes both families shows IPv4 senders in an IPv6 spelling, and
 * senders on a link of their own carry the name of the interface, which may also be given by its number.
 */
inline QString osdDeviceKey(QHostAddress address)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    if (isIpv4) {
        return QHostAddress(ipv4).toString();
    }
    bool isNumber = false;
    const int interfaceNumber = address.scopeId().toInt(&isNumber);
    if (isNumber) {
        address.setScopeId(QNetworkInterface::interfaceNameFromIndex(interfaceNumber));
    }
    return address.toString();
}

} // namespace biz::host

#endif
