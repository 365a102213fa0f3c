#ifndef BIZ_HOST_OSD_SOCKET_P_H
#define BIZ_HOST_OSD_SOCKET_P_H

#include <QtNetwork/QUdpSocket>

namespace biz::host {

/** The socket that all devices of the OSD channel are reached through. */
class OsdSocket : public QObject
{
    Q_OBJECT

public:
    explicit OsdSocket(QObject *parent);

    /** Empty, or why it cannot be opened. */
    QString open(const QHostAddress &local);
    void close();

    /** Empty, or why the datagram cannot be sent. */
    QString send(const QHostAddress &address, quint16 port, const QByteArray &datagram);

    /** Reads what is here without waiting for the event loop. */
    void readDatagrams();

Q_SIGNALS:
    void received(const QHostAddress &sender, const QByteArray &datagram);

private:
    bool hasNext() const;

    QUdpSocket m_socket{this};
};

} // namespace biz::host

#endif
