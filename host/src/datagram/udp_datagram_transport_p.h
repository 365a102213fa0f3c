#ifndef BIZ_HOST_UDP_DATAGRAM_TRANSPORT_P_H
#define BIZ_HOST_UDP_DATAGRAM_TRANSPORT_P_H

#include <memory>
#include <vector>

#include <QtCore/QHash>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <datagram/udp_socket_p.h>
#include <host/datagram_transport.h>

namespace biz::host {

/**
 * UDP to many devices, which may all answer at once or not exist.
 *
 * Devices share sockets in groups so small that one reply of each fits into the receive buffer, as the
 * system gives it: a burst of answers is held however late it is read. Devices that have answered are in
 * other groups than those that have not, whose datagrams wait in the send buffer until the system gives
 * their addresses up: they fill nobody else's. A device changes its group only when it is sent to, while
 * nothing of it is awaited; a late reply still comes through its former group's socket.
 */
class UdpDatagramTransport final : public DatagramTransport
{
    Q_OBJECT

public:
    explicit UdpDatagramTransport(QObject *parent = nullptr);
    ~UdpDatagramTransport() override;

    QString open(const QHostAddress &local) override;
    void close() override;
    SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) override;
    void readPending() override;
    void forget(const QHostAddress &device) override;

private:
    /** Who shares a socket. */
    enum class Company {
        Answering, ///< heard of since the last datagram to them
        Silent,    ///< not heard of since, or never sent to
    };

    struct Group
    {
        std::unique_ptr<UdpSocket> socket;
        sa_family_t family = AF_UNSPEC;
        Company company = Company::Silent;
        int devices = 0;
        int room = 0;            ///< in the receive buffer, for the replies of further devices
        bool isSendFull = false; ///< waits to be told by the system that there is room again
    };

    struct Device
    {
        Group *group = nullptr;
        int roomTaken = 0;   ///< in its group
        int largestSeen = 0; ///< of its replies, as the system counts them
        bool isHeard = false;
    };

    Group *groupFor(Device &device, sa_family_t family, int room);
    Group *anotherGroup(sa_family_t family, Company company, int room);
    Group *openGroup(sa_family_t family, Company company);
    Group *leastBad(sa_family_t family, Company company);
    void leaveGroup(Device &device) const;
    int sendThrough(Group &group, const SocketAddress &to, const QByteArray &datagram);
    void read(Group &group);
    void waitForRoom(Group &group, bool on);

    QHostAddress m_local;
    int m_epoll = -1; ///< watches all sockets, so that one look finds those that have something
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::vector<std::unique_ptr<Group>> m_groups;
    QHash<QHostAddress, Device> m_devices;
    UdpSocket::ReadBuffer m_buffer;
    QTimer m_retry{this};
    QString m_openProblem; ///< why the last group could not be opened
};

} // namespace biz::host

#endif
