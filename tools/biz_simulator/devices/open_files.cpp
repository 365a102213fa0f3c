#include <biz_simulator/devices/open_files.h>

#include <numeric>

#include <sys/resource.h>

#include <QtCore/QDir>

#include <biz_simulator/address/cannot_listen.h>

namespace biz::simulator {

namespace {

/** A connection, and what the system's libraries open for a moment. */
constexpr qint64 spareFiles = 4;

qint64 openFiles()
{
    return static_cast<qint64>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

qint64 filesOf(Scheme scheme)
{
    switch (scheme) {
    case Scheme::Tcp:
    case Scheme::Udp:
        return 1;
    case Scheme::Serial:
        break;
    }
    return 3; // both ends of the terminal, and the claim on its link
}

qint64 filesOf(const Settings &settings)
{
    const auto addDevice = [](qint64 sum, const ListeningDevice &device) {
        return sum + filesOf(device.listen.scheme);
    };
    const auto addGroup = [](qint64 sum, const OsdSettings &group) {
        return sum + group.count;
    };
    const qint64 devices = std::accumulate(settings.devices.begin(), settings.devices.end(), qint64{0}, addDevice);
    return std::accumulate(settings.osdGroups.begin(), settings.osdGroups.end(), devices, addGroup);
}

} // namespace

void allowOpenFiles(const Settings &settings)
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return; // a socket that cannot be opened says why
    }
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0 && ::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    const qint64 needed = openFiles() + filesOf(settings) + spareFiles;
    if (limit.rlim_cur != RLIM_INFINITY && needed > static_cast<qint64>(limit.rlim_cur)) {
        throw CannotListen(
            QStringLiteral("these devices need %1 open files, and the limit is %2; expected fewer devices, "
                           "or a higher limit (ulimit -n)")
                .arg(QString::number(needed), QString::number(limit.rlim_cur)));
    }
}

} // namespace biz::simulator
