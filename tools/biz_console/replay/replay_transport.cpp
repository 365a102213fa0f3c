#include <biz_console/replay/replay_transport.h>

#include <algorithm>
#include <utility>

namespace biz::console {

ReplayTransport::ReplayTransport(const Recording &recording)
{
    for (const RecordedStep &step : recording.steps) {
        deviceAt(step.device).script->append(step);
    }
}

ReplayTransport::Device &ReplayTransport::deviceAt(const QString &address)
{
    Device &device = m_devices[address];
    if (!device.script) {
        device.script =
            std::make_unique<ReplayScript>([this, address](const RecordedStep &step) { play(address, step); });
    }
    return device;
}

QString ReplayTransport::open(const QHostAddress & /*local*/)
{
    for (auto &[address, device] : m_devices) {
        device.script->start();
    }
    return {};
}

ReplayTransport::SendResult ReplayTransport::send(const QHostAddress &address, quint16 /*port*/,
                                                  const QByteArray & /*datagram*/)
{
    const auto found = m_devices.find(address.toString());
    if (found == m_devices.end()) {
        return {}; // a device that never said anything
    }
    Device &device = found->second;
    if (device.isAtInterruption || !device.script->isWriteDue()) {
        m_isHoldingBack = true;
        return {Sent::Later, QStringLiteral("the recording has a reply before it")};
    }
    device.script->noteWrite();
    return {};
}

void ReplayTransport::noteEnd(const QString &address)
{
    const auto found = m_devices.find(address);
    if (found != m_devices.end()) {
        found->second.script->noteEnd();
    }
}

void ReplayTransport::noteLastEnd()
{
    for (auto &[address, device] : m_devices) {
        device.script->noteLastEnd();
    }
}

bool ReplayTransport::isMoreToCome() const
{
    return std::any_of(m_devices.begin(), m_devices.end(),
                       [](const auto &entry) { return !entry.second.script->isOver(); });
}

/** The run is broken off when it is where it was with every device. */
void ReplayTransport::play(const QString &address, const RecordedStep &step)
{
    if (step.kind == RecordedStep::Kind::Interrupted) {
        m_devices.at(address).isAtInterruption = true;
        if (std::all_of(m_devices.begin(), m_devices.end(),
                        [](const auto &entry) { return entry.second.isAtInterruption; })) {
            Q_EMIT interrupted();
        }
        return;
    }
    Q_EMIT received(QHostAddress(address), step.bytes);
    if (std::exchange(m_isHoldingBack, false)) {
        Q_EMIT writable();
    }
}

} // namespace biz::console
