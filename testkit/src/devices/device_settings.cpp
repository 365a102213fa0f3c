#include <devices/device_settings_p.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::testkit {

bool OsdSettings::plays(const QString &address) const
{
    return placeOf(address) >= 0;
}

QHostAddress OsdSettings::addressAt(int device) const
{
    return recorded.isEmpty() ? QHostAddress(first + static_cast<quint32>(device))
                              : QHostAddress(recorded.at(device).address);
}

int OsdSettings::placeOf(const QString &address) const
{
    if (recorded.isEmpty()) {
        const QHostAddress wanted(address);
        const qint64 place = qint64{wanted.toIPv4Address()} - first;
        return place >= 0 && place < count && wanted.toString() == address ? static_cast<int>(place) : -1;
    }
    const auto found = std::find_if(recorded.begin(), recorded.end(),
                                    [&address](const tools::RecordedDevice &each) { return each.address == address; });
    return found == recorded.end() ? -1 : static_cast<int>(found - recorded.begin());
}

void OsdSettings::play(const QVector<tools::RecordedDevice> &devices)
{
    recorded = devices;
    count = static_cast<int>(devices.size());
}

QStringList modelNames()
{
    QStringList names;
    for (const host::CheckedModel &model : host::checkedModels()) {
        names << model.name;
    }
    return names;
}

std::optional<NamedModel> findModel(const QString &name)
{
    const auto models = host::checkedModels();
    const auto known = std::find_if(models.begin(), models.end(), [&](const host::CheckedModel &each) {
        return each.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    if (known == models.end()) {
        return std::nullopt;
    }
    return NamedModel{*rules::modelOfDeviceType(known->deviceType), known->name};
}

} // namespace biz::testkit
