#include <fleet/device_fleet_p.h>

#include <algorithm>

#include <QtCore/QDir>

#include <fleet/worker_plan_p.h>
#include <host/device_link.h>
#include <host/frame_codec.h>
#include <serve/request_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

static_assert(DeviceFleet::longestMs == longestRequestMs && DeviceFleet::longestReplaceKey == longestRequestId,
              "what the fleet takes a worker takes");

bool isNameCharacter(QChar character)
{
    const char letter = character.toLatin1();
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
           letter == '.' || letter == '_' || letter == '-';
}

/** It is also the name of a folder. */
bool isDeviceName(const QString &name)
{
    return !name.isEmpty() && name.size() <= DeviceFleet::longestName &&
           std::all_of(name.begin(), name.end(), isNameCharacter) && name.at(0).isLetterOrNumber();
}

bool isModel(const QString &name)
{
    const QVector<CheckedModel> models = checkedModels();
    return std::any_of(models.begin(), models.end(), [&name](const CheckedModel &model) { return model.name == name; });
}

} // namespace

// --- Life -------------------------------------------------------------------------------------

DeviceFleet::Private::Private(DeviceFleet *fleet, const QString &folder)
    : m_fleet(fleet)
    , m_folder(QDir(folder).absolutePath())
    , m_signals(fleet)
    , m_tap(fleet)
{
}

/** All are asked first, so that they end side by side. */
DeviceFleet::Private::~Private()
{
    const TimePoint deadline = Clock::now() + timing::workerEndLimit;
    for (const auto &entry : m_devices) {
        entry.second->worker().disconnect(entry.second.get());
        entry.second->worker().stop();
    }
    for (const auto &entry : m_devices) {
        entry.second->worker().stopNow(deadline);
    }
    for (const auto &device : m_leaving) {
        device->worker().stopNow(deadline);
    }
}

DeviceFleet::DeviceFleet(const QString &folder, QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<model_Protocoldata>();
    qRegisterMetaType<CommandResult>();
    qRegisterMetaType<ReplyJudgement>();
    qRegisterMetaType<LinkStatus>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
    d = std::make_unique<Private>(this, folder);
}

DeviceFleet::~DeviceFleet() = default;

Error DeviceFleet::error() const
{
    return d->refusal.error();
}

QString DeviceFleet::errorString() const
{
    return d->refusal.text();
}

// --- Devices ----------------------------------------------------------------------------------

bool DeviceFleet::add(const QString &name, const DeviceSettings &settings)
{
    return d->add(name, settings);
}

bool DeviceFleet::Private::add(const QString &name, const DeviceSettings &settings)
{
    if (!isGood(name, settings)) {
        return false;
    }
    const QString folder = m_folder + QLatin1Char('/') + name;
    if (!QDir().mkpath(folder)) {
        return refusal.refuse(Error::CannotMakeFolder, QStringLiteral("the folder %1 cannot be made").arg(folder));
    }
    auto device =
        std::make_unique<FleetDevice>(name, planOf(settings, folder), settings.whileDown, &m_signals, &m_tap, m_fleet);
    FleetDevice &added = *device;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_devices.emplace(name, std::move(device));
    }
    if (FleetDevice *const former = formerOf(name)) {
        added.startAfter(&former->worker());
    } else {
        added.start();
    }
    return true;
}

/** The device that had this name before, while its worker is there; null: there is none. */
FleetDevice *DeviceFleet::Private::formerOf(const QString &name) const
{
    const auto found = std::find_if(m_leaving.begin(), m_leaving.end(), [&name](const auto &device) {
        return device->name() == name && !device->worker().isGone();
    });
    return found == m_leaving.end() ? nullptr : found->get();
}

bool DeviceFleet::Private::isGood(const QString &name, const DeviceSettings &settings)
{
    if (!isDeviceName(name)) {
        return refusal.refuse(Error::InvalidName,
                              QStringLiteral("\"%1\" is no name of a device: 1 to %2 letters, digits, '.', '_' and "
                                             "'-' expected, a letter or a digit first")
                                  .arg(name.left(longestName), QString::number(longestName)));
    }
    if (m_devices.count(name) != 0) {
        return refusal.refuse(Error::NameTaken, QStringLiteral("there is a device \"%1\" already").arg(name));
    }
    const bool isInRange = settings.heartbeatMs >= 10 && settings.defaultWaitMs >= 1 &&
                           settings.defaultWaitMs <= longestMs && settings.settleMs >= 0 &&
                           settings.settleMs <= longestMs;
    if (!isInRange) {
        return refusal.refuse(Error::OutOfRange,
                              QStringLiteral("a heartbeat of 10 ms or more, a wait of 1 to %1 ms and "
                                             "a settle time of 0 to %1 ms are needed")
                                  .arg(longestMs));
    }
    if (!settings.program.isEmpty()) {
        return true; // what suits it is its own affair
    }
    QString problem;
    if (!makeLink(settings.link, &problem)) {
        return refusal.refuse(Error::InvalidUrl, problem);
    }
    return settings.model.isEmpty() || isModel(settings.model) ||
           refusal.refuse(Error::UnknownModel, QStringLiteral("there is no model \"%1\"").arg(settings.model));
}

bool DeviceFleet::remove(const QString &name)
{
    return d->remove(name);
}

bool DeviceFleet::Private::remove(const QString &name)
{
    if (device(name) == nullptr) {
        return false;
    }
    std::unique_ptr<FleetDevice> leaving;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_devices.find(name);
        leaving = std::move(found->second);
        m_devices.erase(found);
    }
    leaving->remove();
    letGo(std::move(leaving));
    return true;
}

/** It stays until its worker has ended. */
void DeviceFleet::Private::letGo(std::unique_ptr<FleetDevice> device)
{
    if (device->worker().isGone()) {
        return;
    }
    FleetDevice *const leaving = device.get();
    m_leaving.push_back(std::move(device));
    QObject::connect(
        &leaving->worker(), &Worker::gone, m_fleet,
        [this, leaving] {
            const auto found = std::find_if(m_leaving.begin(), m_leaving.end(),
                                            [leaving](const auto &candidate) { return candidate.get() == leaving; });
            if (found != m_leaving.end()) {
                m_leaving.erase(found);
            }
        },
        Qt::QueuedConnection); // the signal is its worker's own
}

FleetDevice *DeviceFleet::Private::device(const QString &name)
{
    const auto found = m_devices.find(name);
    if (found == m_devices.end()) {
        refusal.refuse(Error::UnknownDevice, QStringLiteral("there is no device \"%1\"").arg(name));
        return nullptr;
    }
    return found->second.get();
}

const FleetDevice *DeviceFleet::Private::find(const QString &name) const
{
    const auto found = m_devices.find(name);
    return found == m_devices.end() ? nullptr : found->second.get();
}

QStringList DeviceFleet::names() const
{
    return d->names();
}

QStringList DeviceFleet::Private::names() const
{
    QStringList all;
    for (const auto &entry : m_devices) {
        all.append(entry.first);
    }
    return all;
}

LinkStatus DeviceFleet::linkStatus(const QString &name) const
{
    const FleetDevice *const device = d->find(name);
    return device != nullptr ? device->linkStatus() : LinkStatus();
}

qint64 DeviceFleet::workerProcessId(const QString &name) const
{
    const FleetDevice *const device = d->find(name);
    return device != nullptr ? device->worker().processId() : 0;
}

// --- Commands ---------------------------------------------------------------------------------

Ticket DeviceFleet::enqueue(const QString &name, const model_Protocoldata &command, const CommandOptions &options)
{
    return d->enqueue(name, command, options);
}

Ticket DeviceFleet::Private::enqueue(const QString &name, const model_Protocoldata &command,
                                     const CommandOptions &options)
{
    FleetDevice *const named = device(name);
    if (named == nullptr) {
        return 0;
    }
    if (!isTakenByWorkers(command, options)) {
        return 0;
    }
    if (!named->hasRoomFor(command, options)) {
        refusal.refuse(Error::TooManyPending,
                       QStringLiteral("%1 commands of \"%2\" are pending, or %3 bytes of payload: no more may be")
                           .arg(QString::number(mostPending), name, QString::number(mostPendingBytes)));
        return 0;
    }
    const Ticket ticket = ++m_lastTicket;
    named->enqueue(ticket, command, options);
    return ticket;
}

/** A line with more payload is refused by a worker, whatever codec it has, or it is too long for its input. */
bool DeviceFleet::Private::isTakenByWorkers(const model_Protocoldata &command, const CommandOptions &options)
{
    if (command.baData.size() > DemoFrameCodec::maxPayload) {
        return refusal.refuse(Error::CannotEncode, QStringLiteral("a command of %1 payload bytes: at most %2 expected")
                                                       .arg(QString::number(command.baData.size()),
                                                            QString::number(DemoFrameCodec::maxPayload)));
    }
    const bool isInRange = command.iWaitTime <= longestMs && options.validFor.count() <= longestMs &&
                           options.replaceKey.size() <= longestReplaceKey;
    return isInRange ||
           refusal.refuse(Error::OutOfRange, QStringLiteral("a wait and a validity of at most %1 ms and a replace key "
                                                            "of at most %2 characters are needed")
                                                 .arg(QString::number(longestMs), QString::number(longestReplaceKey)));
}

bool DeviceFleet::cancel(Ticket ticket)
{
    return d->cancel(ticket);
}

bool DeviceFleet::Private::cancel(Ticket ticket)
{
    return std::any_of(m_devices.begin(), m_devices.end(),
                       [ticket](const auto &entry) { return entry.second->cancel(ticket); });
}

bool DeviceFleet::clear(const QString &name)
{
    FleetDevice *const device = d->device(name);
    if (device != nullptr) {
        device->clear();
    }
    return device != nullptr;
}

int DeviceFleet::pending(const QString &name) const
{
    const FleetDevice *const device = d->find(name);
    return device != nullptr ? device->pending() : 0;
}

Counters DeviceFleet::counters(const QString &name) const
{
    return d->counters(name);
}

Counters DeviceFleet::Private::counters(const QString &name) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const FleetDevice *const device = find(name);
    return device != nullptr ? device->counters() : Counters();
}

} // namespace biz::host
