#ifndef BIZ_SIMULATOR_LISTEN_ADDRESS_H
#define BIZ_SIMULATOR_LISTEN_ADDRESS_H

#include <QtCore/QString>
#include <QtNetwork/QHostAddress>

#include <host/device_link.h>

namespace biz::simulator {

enum class Scheme { Tcp, Udp, Serial };

/** Where a device of the device channel waits for hosts. */
struct ListenAddress
{
    Scheme scheme = Scheme::Tcp;
    QHostAddress host{QHostAddress::LocalHost};
    quint16 port = static_cast<quint16>(host::defaultTcpPort); ///< 0: a free one
    bool oneClient = false; ///< on TCP: a second connection is refused while there is one
    QString path;           ///< of a symbolic link to the pseudo-terminal; empty: none
};

/** "tcp", "udp" or "serial" */
QString schemeName(Scheme scheme);

/** "tcp://127.0.0.1:15700": the URL by which hosts reach it. */
QString urlOf(Scheme scheme, const QHostAddress &host, quint16 port);

/** Reads tcp://ADDRESS[:PORT], udp://ADDRESS[:PORT], serial: or serial:///PATH; throws tools::UsageError. */
ListenAddress readListenUrl(const QString &text);

} // namespace biz::simulator

#endif
