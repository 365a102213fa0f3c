#include <history/reading/device_book.h>

namespace biz::history {

int DeviceBook::placeOf(const Device &made)
{
    const auto known = m_places.constFind(made.title);
    if (known != m_places.constEnd()) {
        return *known;
    }
    const QString furtherTitle = QStringLiteral("further devices");
    if (m_bounds.areSet() && m_history.devices.size() >= Bounds::mostDevices && made.title != furtherTitle) {
        Device further;
        further.title = furtherTitle;
        further.isOfDevice = made.isOfDevice;
        return placeOf(further);
    }
    const int place = static_cast<int>(m_history.devices.size());
    m_history.devices.push_back(made);
    m_refusals.emplace_back();
    m_places.insert(made.title, place);
    return place;
}

void DeviceBook::addRefusal(int place, const Refusal &refusal, const model_Protocoldata &reply, int deviceType)
{
    m_refusals[static_cast<std::size_t>(place)].add(at(place), refusal, reply, deviceType, m_bounds);
}

void DeviceBook::noteAccepted(int place, const QByteArray &head, int payloadSize)
{
    m_refusals[static_cast<std::size_t>(place)].noteAccepted(at(place), head, payloadSize);
}

} // namespace biz::history
