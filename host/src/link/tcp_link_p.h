#ifndef BIZ_HOST_TCP_LINK_P_H
#define BIZ_HOST_TCP_LINK_P_H

#include <array>

#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include <host/device_link.h>

namespace biz::host {

/** A device behind a TCP port. */
class TcpLink final : public DeviceLink
{
    Q_OBJECT

public:
    TcpLink(const QString &host, quint16 port);
    ~TcpLink() override;

    void open() override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray &bytes) override;
    QString name() const override;

private:
    void onConnected();
    void onStateChanged(QAbstractSocket::SocketState state);
    void onReadyRead();
    void reportEnd();

    const QString m_host;
    const quint16 m_port;
    QTcpSocket m_socket{this};

    /** Read in one go; what is left then waits for the event loop's next turn. */
    std::array<char, 65536> m_chunk{};

    /** Connects from the event loop: a socket may fail within the call that connects it. */
    QTimer m_connecting{this};

    /** From open() to close() or the report of its end: while true, an end is to be reported. */
    bool m_wanted = false;
    bool m_open = false;
};

} // namespace biz::host

#endif
