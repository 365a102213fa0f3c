#ifndef BIZ_SIMULATOR_UDP_TRANSPORT_H
#define BIZ_SIMULATOR_UDP_TRANSPORT_H

#include <QtCore/QVector>
#include <QtNetwork/QUdpSocket>

#include <biz_simulator/address/listen_address.h>
#include <lines/transport_p.h>

namespace biz::simulator {

/** A UDP port. What it answers goes to where the question came from. */
class UdpTransport final : public testkit::Transport
{
    Q_OBJECT

public:
    UdpTransport(const QHostAddress &address, quint16 port);
    ~UdpTransport() override;

    bool open() override;
    void close() override;
    void setReading(bool on) override;
    bool isOpen() const override { return m_socket.state() == QAbstractSocket::BoundState; }
    QString url() const override { return urlOf(Scheme::Udp, m_address, m_port); }
    QString errorString() const override { return m_socket.errorString(); }

private:
    class Sender;

    void read();
    std::shared_ptr<Sender> peerAt(const QHostAddress &address, quint16 port);

    QHostAddress m_address;
    quint16 m_port;
    bool m_isReading = true;
    QUdpSocket m_socket;
    QVector<std::shared_ptr<Sender>> m_peers; ///< the one heard last is the last
};

} // namespace biz::simulator

#endif
