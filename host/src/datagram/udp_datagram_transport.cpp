#include <datagram/udp_datagram_transport_p.h>

#include <algorithm>
#include <cerrno>

#include <sys/epoll.h>
#include <unistd.h>

#include <byte_count_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

/** Payload bytes of a datagram that fit into one packet of an Ethernet, behind the headers of IPv6. */
constexpr int payloadOfPacket = 1452;

/** What the system counts for a packet that was received: a page, and its own record of it, at most. */
constexpr int roomOfPacket = 4096 + 768;

/** Sockets that one host uses: far more groups than ten thousand devices need, far fewer than the usual limit. */
constexpr std::size_t mostGroups = 400;

int roomOf(int payload)
{
    return (payload / payloadOfPacket + 1) * roomOfPacket;
}

/** Any address stands for both families, each with sockets of its own. */
QHostAddress localOf(const QHostAddress &local, sa_family_t family)
{
    if (local == QHostAddress(QHostAddress::Any)) {
        return {family == AF_INET ? QHostAddress::AnyIPv4 : QHostAddress::AnyIPv6};
    }
    return local;
}

} // namespace

UdpDatagramTransport::UdpDatagramTransport(QObject *parent)
    : DatagramTransport(parent)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(timing::fullSystemRetryPeriod);
    connect(&m_retry, &QTimer::timeout, this, &UdpDatagramTransport::writable);
}

UdpDatagramTransport::~UdpDatagramTransport()
{
    close();
}

// --- Open and close ---------------------------------------------------------------------------

QString UdpDatagramTransport::open(const QHostAddress &local)
{
    close();
    m_local = local;
    m_epoll = ::epoll_create1(EPOLL_CLOEXEC);
    if (m_epoll < 0) {
        return qt_error_string(errno);
    }
    // The first group shows whether the address can be used at all.
    const sa_family_t family = SocketAddress(localOf(local, AF_INET), 0).family();
    if (openGroup(family, Company::Silent) == nullptr) {
        QString problem = m_openProblem;
        close();
        return problem;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_epoll, QSocketNotifier::Read, this);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &UdpDatagramTransport::readPending);
    return {};
}

void UdpDatagramTransport::close()
{
    m_retry.stop();
    m_notifier.reset();
    m_devices.clear();
    m_groups.clear();
    if (m_epoll >= 0) {
        ::close(m_epoll);
        m_epoll = -1;
    }
}

// --- Groups -----------------------------------------------------------------------------------

UdpDatagramTransport::Group *UdpDatagramTransport::openGroup(sa_family_t family, Company company)
{
    if (m_groups.size() >= mostGroups) {
        m_openProblem = QStringLiteral("there are %1 sockets already").arg(mostGroups);
        return nullptr;
    }
    auto group = std::make_unique<Group>();
    group->socket = UdpSocket::open(localOf(m_local, family), &m_openProblem);
    if (group->socket == nullptr) {
        return nullptr;
    }
    group->family = family;
    group->company = company;
    group->room = group->socket->receiveRoom();
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = group.get();
    if (::epoll_ctl(m_epoll, EPOLL_CTL_ADD, group->socket->descriptor(), &event) != 0) {
        m_openProblem = qt_error_string(errno);
        return nullptr;
    }
    m_groups.push_back(std::move(group));
    return m_groups.back().get();
}

/** A group with room for one more device; an empty one takes any company. Null when there is none and can be none. */
UdpDatagramTransport::Group *UdpDatagramTransport::anotherGroup(sa_family_t family, Company company, int room)
{
    const auto found = std::find_if(m_groups.begin(), m_groups.end(), [=](const std::unique_ptr<Group> &group) {
        const bool isAlone = group->devices == 0;
        return group->family == family && (isAlone || group->company == company) && !group->isSendFull &&
               (isAlone || group->room >= room);
    });
    if (found == m_groups.end()) {
        return openGroup(family, company);
    }
    (*found)->company = company;
    return found->get();
}

/** Where no further socket can be had: the group with the most room, in the same company if possible. */
UdpDatagramTransport::Group *UdpDatagramTransport::leastBad(sa_family_t family, Company company)
{
    Group *best = nullptr;
    for (const std::unique_ptr<Group> &group : m_groups) {
        const auto rank = [company](const Group &one) {
            return std::make_pair(one.company == company, one.room);
        };
        if (group->family == family && (best == nullptr || rank(*group) > rank(*best))) {
            best = group.get();
        }
    }
    return best;
}

/** The group through which a device is sent to now. */
UdpDatagramTransport::Group *UdpDatagramTransport::groupFor(Device &device, sa_family_t family, int room)
{
    const Company company = device.isHeard ? Company::Answering : Company::Silent;
    Group *const former = device.group;
    if (former != nullptr && former->company == company && !former->isSendFull && device.roomTaken >= room) {
        return former;
    }
    leaveGroup(device);
    Group *group = anotherGroup(family, company, room);
    if (group == nullptr) {
        group = leastBad(family, company);
    }
    if (group != nullptr) {
        ++group->devices;
        group->room -= room;
        device.group = group;
        device.roomTaken = room;
    }
    return group;
}

void UdpDatagramTransport::leaveGroup(Device &device) const
{
    if (device.group != nullptr) {
        --device.group->devices;
        device.group->room += device.roomTaken;
        device.group = nullptr;
        device.roomTaken = 0;
    }
}

void UdpDatagramTransport::forget(const QHostAddress &device)
{
    const auto found = m_devices.find(device);
    if (found != m_devices.end()) {
        leaveGroup(*found);
        m_devices.erase(found);
    }
}

// --- To the devices -----------------------------------------------------------------------------

DatagramTransport::SendResult UdpDatagramTransport::send(const QHostAddress &device, quint16 port,
                                                         const QByteArray &datagram)
{
    if (m_epoll < 0) {
        return {Sent::No, QStringLiteral("the transport is closed")};
    }
    const SocketAddress to(device, port);
    Device &known = m_devices[device];
    const int room = std::max(roomOf(byteCount(datagram)), known.largestSeen);
    // A full group is left for another one; only when that is full as well must the datagram wait.
    constexpr int attempts = 2;
    int error = 0;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Group *const group = groupFor(known, to.family(), room);
        if (group == nullptr) {
            return {Sent::No, m_openProblem};
        }
        error = sendThrough(*group, to, datagram);
        if (error == 0) {
            known.isHeard = false;
            return {};
        }
        if (error != EAGAIN) {
            break;
        }
    }
    const bool isFull = error == EAGAIN || error == ENOBUFS;
    return {isFull ? Sent::Later : Sent::No, qt_error_string(error)};
}

int UdpDatagramTransport::sendThrough(Group &group, const SocketAddress &to, const QByteArray &datagram)
{
    const int error = group.socket->send(to, datagram);
    if (error == EAGAIN) {
        waitForRoom(group, true);
    } else if (error == ENOBUFS && !m_retry.isActive()) {
        m_retry.start(); // the system itself is full, and tells nobody when it is no longer
    }
    return error;
}

void UdpDatagramTransport::waitForRoom(Group &group, bool on)
{
    group.isSendFull = on;
    epoll_event event{};
    event.events = on ? EPOLLIN | EPOLLOUT : EPOLLIN;
    event.data.ptr = &group;
    ::epoll_ctl(m_epoll, EPOLL_CTL_MOD, group.socket->descriptor(), &event);
}

// --- From the devices ---------------------------------------------------------------------------

void UdpDatagramTransport::readPending()
{
    if (m_epoll < 0) {
        return;
    }
    std::vector<epoll_event> ready(m_groups.size());
    const int count = ::epoll_wait(m_epoll, ready.data(), static_cast<int>(ready.size()), 0);
    ready.resize(static_cast<std::size_t>(std::max(count, 0)));
    bool isWritable = false;
    for (const epoll_event &event : ready) {
        auto &group = *static_cast<Group *>(event.data.ptr);
        if ((event.events & EPOLLOUT) != 0) {
            waitForRoom(group, false);
            isWritable = true;
        }
        if ((event.events & ~static_cast<quint32>(EPOLLOUT)) != 0) {
            read(group);
        }
    }
    if (isWritable) {
        Q_EMIT writable();
    }
}

void UdpDatagramTransport::read(Group &group)
{
    const int error = group.socket->read(m_buffer, [this](const QHostAddress &sender, const QByteArray &datagram) {
        const auto device = m_devices.find(sender);
        if (device != m_devices.end()) {
            device->isHeard = true;
            device->largestSeen = std::max(device->largestSeen, roomOf(byteCount(datagram)));
        }
        Q_EMIT received(sender, datagram);
    });
    if (error != 0) {
        Q_EMIT failed(qt_error_string(error));
    }
    const quint64 dropped = group.socket->takeDropped();
    if (dropped > 0) {
        Q_EMIT overflowed(dropped);
    }
}

} // namespace biz::host
