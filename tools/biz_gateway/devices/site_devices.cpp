#include <biz_gateway/devices/site_devices.h>

#include <algorithm>

#include <QtCore/QJsonObject>

namespace biz::gateway {

using host::Event;
using host::EventKind;

namespace {

QString timeText(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

SiteDevices::SiteDevices(const QString &folder, QObject *parent)
    : QObject(parent)
    , m_fleet(folder)
    , m_fleetEvents(host::eventsOf(&m_fleet))
{
    connect(
        m_fleetEvents.get(), &host::EventSource::happened, this, [this](const Event &event) { onFleetEvent(event); },
        Qt::DirectConnection);
}

SiteDevices::~SiteDevices() = default;

// --- Which devices there are ------------------------------------------------------------------

QStringList SiteDevices::apply(const QVector<ServedDevice> &devices, const OsdDevices &osd)
{
    QStringList problems;
    applyDevices(devices, &problems);
    applyOsd(osd, &problems);
    return problems;
}

void SiteDevices::applyDevices(const QVector<ServedDevice> &devices, QStringList *problems)
{
    const QVector<ServedDevice> before = m_devices;
    for (const ServedDevice &device : before) {
        if (!devices.contains(device)) {
            m_devices.removeOne(device);
            m_fleet.remove(device.name);
            Q_EMIT removed({Channel::Device, device.name});
        }
    }
    for (const ServedDevice &device : devices) {
        if (m_devices.contains(device)) {
            continue;
        }
        if (m_fleet.add(device.name, device.settings)) {
            m_devices.append(device);
            Q_EMIT added({Channel::Device, device.name});
        } else {
            problems->append(QStringLiteral("device %1: %2").arg(device.name, m_fleet.errorString()));
        }
    }
}

void SiteDevices::applyOsd(const OsdDevices &osd, QStringList *problems)
{
    if (m_osdHost == nullptr && !osd.addresses.isEmpty() && !startOsd(osd, problems)) {
        return;
    }
    if (m_osdHost != nullptr && (osd.port != m_osd.port || osd.localAddress != m_osd.localAddress) &&
        !osd.addresses.isEmpty()) {
        problems->append(QStringLiteral("the port and the local address of OSD devices change with a restart only"));
    }
    if (m_osdHost != nullptr && !m_osdHost->setDefaultWaitTime(osd.defaultWaitMs)) {
        problems->append(QStringLiteral("OSD devices: ") + m_osdHost->errorString());
    }
    const QStringList before = m_osd.addresses;
    for (const QString &ip : before) {
        if (!osd.addresses.contains(ip)) {
            m_osd.addresses.removeOne(ip);
            m_osdHost->forget(ip);
            m_standings.remove(ip);
            Q_EMIT removed({Channel::Osd, ip});
        }
    }
    for (const QString &ip : osd.addresses) {
        if (!m_osd.addresses.contains(ip)) {
            m_osd.addresses.append(ip);
            Q_EMIT added({Channel::Osd, ip});
        }
    }
}

bool SiteDevices::startOsd(const OsdDevices &osd, QStringList *problems)
{
    auto host = std::make_unique<host::OsdHost>();
    const bool isStarted = host->setPort(osd.port) &&
                           (osd.localAddress.isEmpty() || host->setLocalAddress(osd.localAddress)) && host->start();
    if (!isStarted) {
        problems->append(QStringLiteral("OSD devices: ") + host->errorString());
        return false;
    }
    m_osdHost = std::move(host);
    m_osd.port = osd.port;
    m_osd.localAddress = osd.localAddress;
    m_osdEvents = host::eventsOf(m_osdHost.get());
    connect(
        m_osdEvents.get(), &host::EventSource::happened, this, [this](const Event &event) { onOsdEvent(event); },
        Qt::DirectConnection);
    return true;
}

void SiteDevices::end()
{
    for (const ServedDevice &device : m_devices) {
        m_fleet.remove(device.name);
    }
    if (m_osdHost != nullptr) {
        m_osdHost->stop();
    }
}

bool SiteDevices::has(const Address &address) const
{
    switch (address.channel) {
    case Channel::Device:
        return std::any_of(m_devices.begin(), m_devices.end(),
                           [&address](const ServedDevice &device) { return device.name == address.name; });
    case Channel::Osd:
        return m_osd.addresses.contains(address.name);
    }
    return false;
}

QVector<Address> SiteDevices::all() const
{
    QVector<Address> addresses;
    for (const ServedDevice &device : m_devices) {
        addresses.append({Channel::Device, device.name});
    }
    for (const QString &ip : m_osd.addresses) {
        addresses.append({Channel::Osd, ip});
    }
    return addresses;
}

// --- Commands ---------------------------------------------------------------------------------

host::Ticket SiteDevices::give(const Address &address, const host::Request &request,
                               const host::CommandOptions &options)
{
    host::Ticket ticket = 0;
    switch (address.channel) {
    case Channel::Device:
        ticket = m_fleet.enqueue(address.name, request.device, options);
        m_errorString = m_fleet.errorString();
        break;
    case Channel::Osd:
        ticket = m_osdHost->enqueue(request.osd, options);
        m_errorString = m_osdHost->errorString();
        break;
    }
    return ticket;
}

void SiteDevices::cancel(const Address &address, host::Ticket ticket)
{
    switch (address.channel) {
    case Channel::Device:
        m_fleet.cancel(ticket);
        break;
    case Channel::Osd:
        m_osdHost->cancel(ticket);
        break;
    }
}

// --- What happens -----------------------------------------------------------------------------

void SiteDevices::onFleetEvent(const Event &event)
{
    const Address address{Channel::Device, event.device};
    Q_EMIT happened(address, event);
    if (event.kind == EventKind::LinkStateChanged && has(address)) {
        Q_EMIT stateChanged(address);
    }
}

void SiteDevices::onOsdEvent(const Event &event)
{
    const Address address{Channel::Osd, event.device};
    Q_EMIT happened(address, event);
    if (!has(address)) {
        return;
    }
    if (event.kind == EventKind::Sent) {
        Standing &standing = m_standings[event.device];
        standing.unansweredSinceUtcMs =
            standing.unansweredSinceUtcMs != 0 ? standing.unansweredSinceUtcMs : event.utcMs;
    } else if (event.kind == EventKind::Answered || event.kind == EventKind::Late) {
        noteAnswer(address);
    } else if (event.kind == EventKind::GaveUp) {
        noteSilence(address);
    }
}

void SiteDevices::noteAnswer(const Address &address)
{
    Standing &standing = m_standings[address.name];
    const bool isNews = !standing.isUp;
    standing = {true, false, 0};
    if (isNews) {
        Q_EMIT stateChanged(address);
    }
}

void SiteDevices::noteSilence(const Address &address)
{
    Standing &standing = m_standings[address.name];
    const bool isNews = !standing.isSilent;
    standing.isUp = false;
    standing.isSilent = true;
    if (isNews) {
        Q_EMIT stateChanged(address);
    }
}

QJsonObject SiteDevices::state(const Address &address) const
{
    if (address.channel == Channel::Osd) {
        return osdState(address.name);
    }
    const host::LinkStatus status = m_fleet.linkStatus(address.name);
    QJsonObject keys{{QStringLiteral("state"), host::linkStateName(status.state)}};
    if (status.since.isValid()) {
        keys.insert(QStringLiteral("since"), timeText(status.since));
    }
    if (status.error != host::Error::None) {
        keys.insert(QStringLiteral("error"), host::errorName(status.error));
    }
    if (!status.reason.isEmpty()) {
        keys.insert(QStringLiteral("reason"), status.reason);
    }
    return keys;
}

/** A device without a command has not been heard of, which says nothing about it. */
QJsonObject SiteDevices::osdState(const QString &ip) const
{
    const Standing standing = m_standings.value(ip);
    QJsonObject keys{{QStringLiteral("state"), standing.isUp ? QStringLiteral("up") : QStringLiteral("unknown")}};
    if (standing.isSilent) {
        keys.insert(QStringLiteral("state"), QStringLiteral("silent"));
        keys.insert(QStringLiteral("since"), timeText(QDateTime::fromMSecsSinceEpoch(standing.unansweredSinceUtcMs)));
    }
    return keys;
}

void SiteDevices::counters(const TakeCounters &take) const
{
    for (const ServedDevice &device : m_devices) {
        take({Channel::Device, device.name}, m_fleet.counters(device.name));
    }
    const QVector<host::OsdDeviceStatus> statuses =
        m_osdHost != nullptr ? m_osdHost->devices() : QVector<host::OsdDeviceStatus>();
    for (const host::OsdDeviceStatus &status : statuses) {
        take({Channel::Osd, status.ip}, status.counters);
    }
}

} // namespace biz::gateway
