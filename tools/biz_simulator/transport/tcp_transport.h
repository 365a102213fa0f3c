#ifndef BIZ_SIMULATOR_TCP_TRANSPORT_H
#define BIZ_SIMULATOR_TCP_TRANSPORT_H

#include <QtCore/QHash>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <biz_simulator/transport/transport.h>

namespace biz::simulator {

/** A TCP port, for any number of connections at once. */
class TcpTransport final : public Transport
{
    Q_OBJECT

public:
    explicit TcpTransport(const ListenAddress &address);
    ~TcpTransport() override;

    bool open() override;
    void close() override;
    void setReading(bool on) override;
    bool isOpen() const override { return m_server.isListening(); }
    QString url() const override { return urlOf(Scheme::Tcp, m_address.host, m_address.port); }
    QString errorString() const override { return m_server.errorString(); }

private:
    void accept();
    void serve(QTcpSocket *socket);
    void applyReading(QTcpSocket *socket) const;
    void read(QTcpSocket *socket);

    ListenAddress m_address;
    bool m_isReading = true;
    QTcpServer m_server;
    QHash<QTcpSocket *, PeerPointer> m_peers; ///< of open connections
};

} // namespace biz::simulator

#endif
