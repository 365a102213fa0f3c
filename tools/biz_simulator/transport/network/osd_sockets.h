#ifndef BIZ_SIMULATOR_OSD_SOCKETS_H
#define BIZ_SIMULATOR_OSD_SOCKETS_H

#include <map>
#include <memory>

#include <QtNetwork/QUdpSocket>

#include <lines/osd_network_p.h>

namespace biz::simulator {

/** A socket for each OSD device, bound to its address, so that replies come from the address that was asked. */
class OsdSockets final : public testkit::OsdNetwork
{
    Q_OBJECT

public:
    bool bind(int device, const QHostAddress &address, quint16 port) override;
    quint16 portOf(int device) const override { return m_sockets.at(device)->localPort(); }
    bool isBound(int device) const override { return m_sockets.count(device) != 0; }
    void unbind(int device) override;
    bool send(int device, const QByteArray &datagram, const testkit::ReturnAddress &to) override;
    QString errorString() const override { return m_error; }

private:
    void read(int device);

    std::map<int, std::unique_ptr<QUdpSocket>> m_sockets;
    QString m_error;
};

} // namespace biz::simulator

#endif
