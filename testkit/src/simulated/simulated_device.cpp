#include <testkit/simulated_device.h>

#include <stdexcept>

#include <devices/played_device_p.h>
#include <simulated/link_transport_p.h>
#include <simulated/recording_p.h>
#include <simulated/simulated_link_p.h>

namespace biz::testkit {

namespace {

DeviceSettings settingsOf(const QString &model, const FaultSettings &faults)
{
    const auto known = findModel(model);
    if (!known) {
        throw std::invalid_argument(QStringLiteral("\"%1\" is no model: expected one of %2")
                                        .arg(model, modelNames().join(QStringLiteral(", ")))
                                        .toStdString());
    }
    DeviceSettings settings;
    settings.model = known->model;
    settings.name = known->name;
    settings.label = settings.name;
    settings.faults = faults;
    return settings;
}

DeviceSettings settingsOfRecordedDevice(const QString &file, const FaultSettings &faults)
{
    const tools::RecordedDevices recording = readRecording(file);
    if (!recording.isOfDevice) {
        throw std::invalid_argument(
            QStringLiteral("%1: a recording of the device channel expected").arg(file).toStdString());
    }
    DeviceSettings settings;
    settings.model = rules::modelOfDeviceType(recording.deviceType).value_or(settings.model);
    settings.name = file;
    settings.label = file;
    settings.faults = faults;
    settings.recorded = std::make_shared<tools::RecordedDevice>(recording.devices.constFirst());
    return settings;
}

} // namespace

class SimulatedDevice::Private
{
public:
    explicit Private(const DeviceSettings &settings)
        : transport(new LinkTransport)
        , device(settings, std::unique_ptr<Transport>(transport), log)
    {
        device.listen();
    }
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    EventLog log{false};
    LinkTransport *const transport; ///< the device's
    PlayedDevice device;
    QVector<model_Protocoldata> commands;
};

SimulatedDevice::SimulatedDevice(const QString &model, const FaultSettings &faults, QObject *parent)
    : SimulatedDevice(std::make_unique<Private>(settingsOf(model, faults)), parent)
{
}

std::unique_ptr<SimulatedDevice> SimulatedDevice::fromRecording(const QString &file, const FaultSettings &faults)
{
    auto own = std::make_unique<Private>(settingsOfRecordedDevice(file, faults));
    return std::unique_ptr<SimulatedDevice>(new SimulatedDevice(std::move(own), nullptr));
}

SimulatedDevice::SimulatedDevice(std::unique_ptr<Private> own, QObject *parent)
    : QObject(parent)
    , d(std::move(own))
{
    connect(&d->device, &PlayedDevice::commandReceived, this, [this](const model_Protocoldata &command) {
        d->commands.append(command);
        Q_EMIT commandReceived(command);
    });
}

SimulatedDevice::~SimulatedDevice() = default;

std::unique_ptr<host::DeviceLink> SimulatedDevice::makeLink()
{
    return std::make_unique<SimulatedLink>(d->transport);
}

void SimulatedDevice::setCodec(MakeCodec makeCodec)
{
    d->transport->setCodec(std::move(makeCodec));
}

void SimulatedDevice::setReplyDelay(std::chrono::milliseconds delay)
{
    d->device.setDelay(static_cast<int>(delay.count()));
}

void SimulatedDevice::failNext(FaultKind kind, int times)
{
    d->device.plan().failNext(kind, times);
}

void SimulatedDevice::addFault(const ScriptEntry &entry)
{
    d->device.plan().add(entry);
}

void SimulatedDevice::setPower(bool on)
{
    d->transport->setPower(on);
}

bool SimulatedDevice::hasPower() const
{
    return d->transport->hasPower();
}

const QVector<model_Protocoldata> &SimulatedDevice::commands() const
{
    return d->commands;
}

void SimulatedDevice::forgetCommands()
{
    d->commands.clear();
}

DeviceTally SimulatedDevice::tally() const
{
    return d->device.tally();
}

} // namespace biz::testkit
