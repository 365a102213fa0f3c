#ifndef BIZ_SIMULATOR_TCP_TRANSPORT_H
#define BIZ_SIMULATOR_TCP_TRANSPORT_H

#include <QtCore/QHash>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <biz_simulator/address/listen_address.h>
#include <lines/transport_p.h>

namespace biz::simulator {

/** What a TCP port keeps in memory for its clients at most. */
struct TcpBounds
{
    int connections = 1024;                 ///< further ones are refused
    qint64 unreadByOne = qint64{16} << 20;  ///< bytes of replies; beyond this the client is disconnected
    qint64 unreadByAll = qint64{128} << 20; ///< the same of all; beyond this the one with most is disconnected
};

/** A TCP port, for many connections at once. */
class TcpTransport final : public testkit::Transport
{
    Q_OBJECT

public:
    /** The most that is read of a connection at once. */
    static constexpr qint64 mostBytesAtOnce = qint64{64} << 10;

    explicit TcpTransport(const ListenAddress &address, const TcpBounds &bounds = {});
    ~TcpTransport() override;

    bool open() override;
    void close() override;
    void setReading(bool on) override;
    bool isOpen() const override { return m_server.isListening(); }
    QString url() const override { return urlOf(Scheme::Tcp, m_address.host, m_address.port); }
    QString errorString() const override { return m_server.errorString(); }

private:
    class Connection;

    void accept();
    QString reasonToRefuse() const;
    void serve(QTcpSocket *socket);
    void forget(QTcpSocket *socket);
    void boundUnread(QTcpSocket *written);
    void drop(QTcpSocket *socket);
    void applyReading(QTcpSocket *socket) const;
    void read(QTcpSocket *socket);

    ListenAddress m_address;
    TcpBounds m_bounds;
    bool m_isReading = true;
    QTcpServer m_server;
    QHash<QTcpSocket *, testkit::PeerPointer> m_peers; ///< of open connections
};

} // namespace biz::simulator

#endif
