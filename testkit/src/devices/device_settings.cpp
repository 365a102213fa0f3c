#include <devices/device_settings_p.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::testkit {

bool OsdSettings::plays(const QString &address) const
{
    const QHostAddress wanted(address);
    const qint64 place = qint64{wanted.toIPv4Address()} - first;
    return place >= 0 && place < count && wanted.toString() == address;
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
