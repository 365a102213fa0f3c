#include <QtCore/QPointer>

#include <fleet/device_fleet_p.h>
#include <host/event_source.h>

namespace biz::host {

/** What happens in a fleet. */
class FleetEvents : public EventSource
{
public:
    explicit FleetEvents(DeviceFleet *fleet)
        : m_fleet(fleet)
    {
        connect(
            &fleet->d->tap(), &FleetTap::happened, this, [this](const Event &event) { tell(event); },
            Qt::DirectConnection);
    }

    QJsonObject about() const override { return {{QStringLiteral("channel"), QStringLiteral("fleet")}}; }

    /** Each device by its name. */
    QJsonObject state() const override
    {
        QJsonObject devices;
        const QStringList names = m_fleet ? m_fleet->names() : QStringList();
        for (const QString &name : names) {
            const Counters counters = m_fleet->counters(name);
            devices.insert(name, QJsonObject{{QStringLiteral("state"), linkStateName(m_fleet->linkStatus(name).state)},
                                             {QStringLiteral("pending"), m_fleet->pending(name)},
                                             {QStringLiteral("counters"), toJson(counters)},
                                             {QStringLiteral("roundTrip"), roundTripToJson(counters)}});
        }
        return {{QStringLiteral("devices"), devices}};
    }

private:
    const QPointer<DeviceFleet> m_fleet;
};

std::unique_ptr<EventSource> eventsOf(DeviceFleet *fleet)
{
    return std::make_unique<FleetEvents>(fleet);
}

} // namespace biz::host
