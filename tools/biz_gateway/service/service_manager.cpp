#include <biz_gateway/service/service_manager.h>

#include <algorithm>
#include <cstddef>
#include <ctime>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace biz::gateway {

namespace {

constexpr qint64 microsecondsPerMillisecond = 1000;

/** The manager asks for one sign of life in its time; two leave room for a late timer. */
constexpr int signsInWatchdogTime = 2;

} // namespace

ServiceManager::ServiceManager(QObject *parent)
    : QObject(parent)
    , m_socket(qgetenv("NOTIFY_SOCKET"))
{
    connect(&m_watchdog, &QTimer::timeout, this, [this] { send("WATCHDOG=1"); });
}

void ServiceManager::tellReady()
{
    send("READY=1");
    const qint64 watchdogMs = qgetenv("WATCHDOG_USEC").toLongLong() / microsecondsPerMillisecond;
    const qint64 process = qgetenv("WATCHDOG_PID").toLongLong();
    if (watchdogMs > 0 && (process == 0 || process == getpid())) {
        m_watchdog.start(static_cast<int>(watchdogMs / signsInWatchdogTime));
    }
}

void ServiceManager::tellReloading()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const qint64 microseconds = now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
    send("RELOADING=1\nMONOTONIC_USEC=" + QByteArray::number(microseconds));
}

void ServiceManager::tellStopping()
{
    send("STOPPING=1");
}

void ServiceManager::tellStatus(const QString &text)
{
    send("STATUS=" + text.toUtf8().replace('\n', ' '));
}

void ServiceManager::send(const QByteArray &lines) const
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (m_socket.isEmpty() || static_cast<std::size_t>(m_socket.size()) >= sizeof(address.sun_path)) {
        return;
    }
    std::copy(m_socket.begin(), m_socket.end(), address.sun_path);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0'; // a name that is no file
    }
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0) {
        const auto size =
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(m_socket.size()));
        sendto(descriptor, lines.constData(), static_cast<std::size_t>(lines.size()), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr *>(&address), size);
        close(descriptor);
    }
}

} // namespace biz::gateway
