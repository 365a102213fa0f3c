#ifndef BIZ_HOST_UDP_LINK_P_H
#define BIZ_HOST_UDP_LINK_P_H

#include <array>

#include <QtCore/QTimer>
#include <QtNetwork/QUdpSocket>

#include <host/device_link.h>

namespace biz::host {

/**
 * A device behind a UDP port: each write is one datagram. Datagrams of other senders are
 * passed over. Nobody tells when such a device goes away, so once open it stays open; a
 * device that is restarted is reached again as soon as it listens.
 */
class UdpLink final : public DeviceLink
{
    Q_OBJECT

public:
    UdpLink(const QString &host, quint16 port);
    ~UdpLink() override;

    void open() override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray &bytes) override;
    bool keepsMessageBoundaries() const override;
    QString name() const override;

private:
    void lookUp();
    void onLookUpMoved();
    void bindFor(const QHostAddress &device);
    void fail(const QString &why);
    void onReadyRead();

    const QString m_host;
    const quint16 m_port;
    QUdpSocket m_socket{this};
    QHostAddress m_device;
    std::array<char, 65536> m_datagram{}; ///< none is longer

    /** Opens from the event loop, so that open() returns before opened() or closed(). */
    QTimer m_opening{this};

    /** Finds the address of a name, and among several one that there is a way to. */
    QUdpSocket m_lookUp{this};
    bool m_lookingUp = false;
    bool m_wanted = false;
    bool m_open = false;
};

} // namespace biz::host

#endif
