#include <biz_simulator/devices/settings.h>

#include <algorithm>

namespace biz::simulator {

namespace {

bool mayClose(const FaultSettings &faults)
{
    const auto isClose = [](const auto &item) {
        return item.fault == FaultKind::Close;
    };
    return std::any_of(faults.script.begin(), faults.script.end(), isClose) ||
           std::any_of(faults.rates.begin(), faults.rates.end(), isClose);
}

QString nothingToClose(const QString &device)
{
    return QStringLiteral("close: %1 has no connection to close; expected another fault, such as vanish").arg(device);
}

} // namespace

bool readFirstOsdAddress(const QString &text, quint32 *address)
{
    const QHostAddress first(text);
    *address = first.toIPv4Address();
    return first.protocol() == QAbstractSocket::IPv4Protocol && first.isLoopback() && *address <= lastLoopbackAddress;
}

QString problemWith(const FaultSettings &faults, Scheme scheme)
{
    return scheme == Scheme::Udp && mayClose(faults) ? nothingToClose(QStringLiteral("a UDP device")) : QString();
}

QString problemWith(const OsdSettings &group)
{
    for (const ScriptEntry &entry : group.faults.script) {
        if (!entry.device.isEmpty() && !group.plays(entry.device)) {
            return QStringLiteral("\"%1\" is none of the OSD devices; expected an address from %2 to %3")
                .arg(entry.device, QHostAddress(group.first).toString(), QHostAddress(group.last()).toString());
        }
    }
    return mayClose(group.faults) ? nothingToClose(QStringLiteral("an OSD device")) : QString();
}

} // namespace biz::simulator
