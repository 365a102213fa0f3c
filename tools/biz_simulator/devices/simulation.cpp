#include <biz_simulator/devices/simulation.h>

#include <algorithm>

#include <netinet/in.h>

#include <biz_simulator/address/cannot_listen.h>
#include <biz_simulator/transport/network/osd_sockets.h>

namespace biz::simulator {

namespace {

void printAddress(const QString &name, const QString &where)
{
    const QString line = QStringLiteral("listening on ") + where;
    writeLine(stdout, name.isEmpty() ? line : name + QLatin1Char(' ') + line);
}

QString addressesOf(const OsdSettings &group, quint16 port)
{
    return QStringLiteral("udp://%1 to %2 port %3")
        .arg(QHostAddress(group.first).toString(), QHostAddress(group.last()).toString(), QString::number(port));
}

/** Recorded devices stand on addresses of their own, or for others. */
void printRecorded(const OsdSettings &group, quint16 port)
{
    for (int i = 0; i < group.count; ++i) {
        const QString recorded = group.recordedAddresses.value(i);
        const QString where =
            QStringLiteral("udp://%1 port %2").arg(group.addressAt(i).toString(), QString::number(port));
        printAddress({}, recorded.isEmpty() ? where : QStringLiteral("%1 for %2").arg(where, recorded));
    }
}

void printTally(const QString &name, const DeviceTally &tally)
{
    writeLine(stdout, QStringLiteral("%1: %2").arg(name, summaryText(tally)));
}

void printTrouble(const QString &trouble)
{
    writeLine(stderr, QStringLiteral("biz_simulator: ") + trouble);
}

/** What would have gone; the system keeps the ports below this one for those who have the right to them. */
QString expectedAddress(quint16 port)
{
    const bool isReserved = port != 0 && port < IPPORT_RESERVED;
    return QStringLiteral("expected an address that is free") +
           (isReserved ? QStringLiteral(", with a port from %1 on: lower ones need rights").arg(IPPORT_RESERVED)
                       : QString());
}

bool drawsFaults(const Settings &settings)
{
    const auto draws = [](const auto &item) {
        return !item.faults.rates.isEmpty();
    };
    return std::any_of(settings.devices.begin(), settings.devices.end(), draws) ||
           std::any_of(settings.osdGroups.begin(), settings.osdGroups.end(), draws);
}

} // namespace

Simulation::Simulation(const Settings &settings, const EventLog &log)
    : m_settings(settings)
{
    for (const ListeningDevice &device : settings.devices) {
        m_devices.push_back(std::make_unique<PlayedDevice>(device, makeTransport(device.listen), log));
        QObject::connect(m_devices.back().get(), &PlayedDevice::cannotReturn, printTrouble);
        QObject::connect(m_devices.back().get(), &PlayedDevice::droppedHost, printTrouble);
    }
    for (const OsdSettings &group : settings.osdGroups) {
        m_osdGroups.push_back(std::make_unique<PlayedOsdDevices>(group, std::make_unique<OsdSockets>(), log));
        QObject::connect(m_osdGroups.back().get(), &PlayedOsdDevices::cannotReturn, printTrouble);
    }
}

void Simulation::start()
{
    listenAll();
    for (std::size_t i = 0; i < m_devices.size(); ++i) {
        PlayedDevice *device = m_devices[i].get();
        const QString name = m_settings.namesDevices ? m_settings.devices.at(static_cast<int>(i)).name : QString();
        printAddress(name, device->url());
        QObject::connect(device, &PlayedDevice::moved, device, [device, name] { printAddress(name, device->url()); });
    }
    for (std::size_t i = 0; i < m_osdGroups.size(); ++i) {
        const OsdSettings &group = m_settings.osdGroups.at(static_cast<int>(i));
        if (group.recorded.isEmpty()) {
            printAddress({}, addressesOf(group, m_osdGroups[i]->port()));
        } else {
            printRecorded(group, m_osdGroups[i]->port());
        }
    }
    if (drawsFaults(m_settings)) {
        writeLine(stdout, QStringLiteral("seed %1").arg(m_settings.seed));
    }
}

void Simulation::listenAll()
{
    for (std::size_t i = 0; i < m_devices.size(); ++i) {
        if (!m_devices[i]->listen()) {
            const quint16 port = m_settings.devices.at(static_cast<int>(i)).listen.port;
            throw CannotListen(QStringLiteral("cannot listen on %1: %2; %3")
                                   .arg(m_devices[i]->url(), m_devices[i]->errorString(), expectedAddress(port)));
        }
    }
    for (std::size_t i = 0; i < m_osdGroups.size(); ++i) {
        if (!m_osdGroups[i]->listen()) {
            const quint16 port = m_settings.osdGroups.at(static_cast<int>(i)).port;
            throw CannotListen(QStringLiteral("cannot listen on udp %1; %2")
                                   .arg(m_osdGroups[i]->errorString(), expectedAddress(port)));
        }
    }
}

void Simulation::printSummary() const
{
    for (std::size_t i = 0; i < m_devices.size(); ++i) {
        printTally(m_settings.devices.at(static_cast<int>(i)).name, m_devices[i]->tally());
    }
    for (std::size_t i = 0; i < m_osdGroups.size(); ++i) {
        printTally(m_settings.osdGroups.at(static_cast<int>(i)).name, m_osdGroups[i]->tally());
    }
}

} // namespace biz::simulator
