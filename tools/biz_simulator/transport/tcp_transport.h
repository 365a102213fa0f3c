#ifndef BIZ_SIMULATOR_TCP_TRANSPORT_H
#define BIZ_SIMULATOR_TCP_TRANSPORT_H

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <biz_simulator/transport/transport.h>

namespace biz::simulator {

/** A TCP port, for any number of connections at once. */
class TcpTransport final : public Transport
{
    Q_OBJECT

public:
    TcpTransport(const QHostAddress &address, quint16 port);
    ~TcpTransport() override;

    bool open() override;
    void close() override;
    bool isOpen() const override { return m_server.isListening(); }
    QString url() const override { return urlOf(Scheme::Tcp, m_address, m_port); }
    QString errorString() const override { return m_server.errorString(); }

private:
    void accept();

    QHostAddress m_address;
    quint16 m_port;
    QTcpServer m_server;
};

} // namespace biz::simulator

#endif
