#include <testkit/simulated_osd_devices.h>

#include <limits>
#include <stdexcept>

#include <devices/played_osd_devices_p.h>
#include <simulated/osd_lan_p.h>
#include <simulated/recording_p.h>
#include <simulated/simulated_transport_p.h>

namespace biz::testkit {

namespace {

OsdSettings settingsOf(const QString &firstAddress, int count, const FaultSettings &faults)
{
    const QHostAddress first(firstAddress);
    OsdSettings settings;
    settings.first = first.toIPv4Address();
    settings.count = count;
    settings.faults = faults;
    const quint64 end = quint64{settings.first} + static_cast<quint64>(count);
    if (first.protocol() != QAbstractSocket::IPv4Protocol || count < 1 || end > std::numeric_limits<quint32>::max()) {
        throw std::invalid_argument(
            QStringLiteral("no row of %1 devices begins with \"%2\": expected an IPv4 address like 10.0.0.1")
                .arg(QString::number(count), firstAddress)
                .toStdString());
    }
    return settings;
}

OsdSettings settingsOfRecordedDevices(const QString &file, const FaultSettings &faults)
{
    const tools::RecordedDevices recording = readRecording(file);
    if (recording.isOfDevice) {
        throw std::invalid_argument(
            QStringLiteral("%1: a recording of the OSD channel expected").arg(file).toStdString());
    }
    OsdSettings settings;
    settings.faults = faults;
    settings.play(recording.devices);
    return settings;
}

void requireOneOfThem(bool isOneOfThem, const QString &device)
{
    if (!isOneOfThem) {
        throw std::invalid_argument(QStringLiteral("\"%1\" is none of the devices").arg(device).toStdString());
    }
}

} // namespace

class SimulatedOsdDevices::Private
{
public:
    explicit Private(const OsdSettings &settingsOfRow)
        : settings(settingsOfRow)
        , lan(new OsdLan)
        , devices(settings, std::unique_ptr<OsdNetwork>(lan), log)
    {
        devices.listen();
    }
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    const OsdSettings settings;
    EventLog log{false};
    OsdLan *const lan; ///< the devices'
    PlayedOsdDevices devices;
    QVector<ReceivedOsdCommand> commands;
};

SimulatedOsdDevices::SimulatedOsdDevices(const QString &firstAddress, int count, const FaultSettings &faults,
                                         QObject *parent)
    : SimulatedOsdDevices(std::make_unique<Private>(settingsOf(firstAddress, count, faults)), parent)
{
}

std::unique_ptr<SimulatedOsdDevices> SimulatedOsdDevices::fromRecording(const QString &file,
                                                                        const FaultSettings &faults)
{
    auto own = std::make_unique<Private>(settingsOfRecordedDevices(file, faults));
    return std::unique_ptr<SimulatedOsdDevices>(new SimulatedOsdDevices(std::move(own), nullptr));
}

SimulatedOsdDevices::SimulatedOsdDevices(std::unique_ptr<Private> own, QObject *parent)
    : QObject(parent)
    , d(std::move(own))
{
    connect(&d->devices, &PlayedOsdDevices::commandReceived, this,
            [this](const QString &device, const model_OsdParam &command) {
                d->commands.append({device, command});
                Q_EMIT commandReceived(device, command);
            });
}

SimulatedOsdDevices::~SimulatedOsdDevices() = default;

std::unique_ptr<host::DatagramTransport> SimulatedOsdDevices::makeTransport()
{
    return std::make_unique<SimulatedTransport>(d->lan);
}

QStringList SimulatedOsdDevices::addresses() const
{
    QStringList all;
    for (int i = 0; i < d->settings.count; ++i) {
        all << d->settings.addressAt(i).toString();
    }
    return all;
}

void SimulatedOsdDevices::setReplyDelay(std::chrono::milliseconds delay)
{
    d->devices.setDelay(static_cast<int>(delay.count()));
}

void SimulatedOsdDevices::failNext(const QString &device, FaultKind kind, int times)
{
    requireOneOfThem(d->devices.failNext(device, kind, times), device);
}

void SimulatedOsdDevices::addFault(const ScriptEntry &entry)
{
    requireOneOfThem(d->devices.addFault(entry), entry.device);
}

void SimulatedOsdDevices::setPower(const QString &device, bool on)
{
    requireOneOfThem(d->devices.setPower(device, on), device);
}

const QVector<ReceivedOsdCommand> &SimulatedOsdDevices::commands() const
{
    return d->commands;
}

void SimulatedOsdDevices::forgetCommands()
{
    d->commands.clear();
}

DeviceTally SimulatedOsdDevices::tally() const
{
    return d->devices.tally();
}

} // namespace biz::testkit
