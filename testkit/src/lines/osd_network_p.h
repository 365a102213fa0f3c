#ifndef BIZ_TESTKIT_OSD_NETWORK_P_H
#define BIZ_TESTKIT_OSD_NETWORK_P_H

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtNetwork/QHostAddress>

namespace biz::testkit {

/** Where a command came from, and its reply goes. */
struct ReturnAddress
{
    QHostAddress address;
    quint16 port = 0;
};

/** How datagrams reach OSD devices, each of which has an address of its own, and how their replies leave. */
class OsdNetwork : public QObject
{
    Q_OBJECT

public:
    explicit OsdNetwork(QObject *parent = nullptr);
    ~OsdNetwork() override;

    /** Puts a device on the network. False when its address is taken; errorString() then says where and why. */
    virtual bool bind(int device, const QHostAddress &address, quint16 port) = 0;

    /** The port of a device that is bound; another one than asked for when that was 0. */
    virtual quint16 portOf(int device) const = 0;

    virtual bool isBound(int device) const = 0;

    /** Takes the device off the network. It may be reading now. */
    virtual void unbind(int device) = 0;

    /** False when the datagram cannot be sent; errorString() then says why. */
    virtual bool send(int device, const QByteArray &datagram, const ReturnAddress &to) = 0;

    virtual QString errorString() const = 0;

Q_SIGNALS:
    void received(int device, const QByteArray &datagram, const biz::testkit::ReturnAddress &from);
};

} // namespace biz::testkit

#endif
