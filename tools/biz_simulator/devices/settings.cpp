#include <biz_simulator/devices/settings.h>

#include <algorithm>

#include <common/errors.h>
#include <common/shown_text.h>
#include <common/suggestion.h>

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

tools::UsageError nothingToClose(const QString &device)
{
    return tools::UsageError(
        QStringLiteral("close: %1 has no connection to close; expected another fault, such as vanish").arg(device));
}

} // namespace

NamedModel readModel(const QString &name)
{
    const auto known = findModel(name);
    if (!known) {
        throw tools::UsageError(QStringLiteral("%1 is no model: expected one of %2")
                                    .arg(tools::quotedText(name), modelNames().join(QStringLiteral(", "))) +
                                tools::suggestionFor(name, modelNames()));
    }
    return *known;
}

quint32 readFirstOsdAddress(const QString &text)
{
    const QHostAddress first(text);
    const quint32 address = first.toIPv4Address();
    const bool isV4 = first.protocol() == QAbstractSocket::IPv4Protocol;
    if (!isV4 || !first.isLoopback() || address > lastLoopbackAddress) {
        throw tools::UsageError(
            QStringLiteral("\"%1\": expected an address from 127.0.0.0 to 127.255.255.254").arg(text));
    }
    return address;
}

void requirePossible(const FaultSettings &faults, Scheme scheme)
{
    if (scheme == Scheme::Udp && mayClose(faults)) {
        throw nothingToClose(QStringLiteral("a UDP device"));
    }
}

void requirePossible(const OsdSettings &group)
{
    for (const ScriptEntry &entry : group.faults.script) {
        if (!entry.device.isEmpty() && !group.plays(entry.device)) {
            throw tools::UsageError(
                QStringLiteral("\"%1\" is none of the OSD devices; expected an address from %2 to %3")
                    .arg(entry.device, QHostAddress(group.first).toString(), QHostAddress(group.last()).toString()));
        }
    }
    if (mayClose(group.faults)) {
        throw nothingToClose(QStringLiteral("an OSD device"));
    }
}

} // namespace biz::simulator
