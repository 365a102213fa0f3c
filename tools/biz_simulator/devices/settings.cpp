#include <biz_simulator/devices/settings.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::simulator {

namespace {

bool mayClose(const FaultSettings &faults)
{
    const auto isClose = [](const auto &item) {
        return item.fault == FaultKind::Close;
    };
    return std::any_of(faults.script.begin(), faults.script.end(), isClose) ||
           std::any_of(faults.rates.begin(), faults.rates.end(), isClose);
}

QString nothingToClose(const QString &device)
{
    return QStringLiteral("close: %1 has no connection to close; expected another fault, such as vanish").arg(device);
}

} // namespace

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

bool readModel(const QString &text, rules::Model *model, QString *name)
{
    const auto models = host::checkedModels();
    const auto known = std::find_if(models.begin(), models.end(), [&](const host::CheckedModel &each) {
        return each.name.compare(text, Qt::CaseInsensitive) == 0;
    });
    if (known == models.end()) {
        return false;
    }
    *model = *rules::modelOfDeviceType(known->deviceType);
    *name = known->name;
    return true;
}

bool readFirstOsdAddress(const QString &text, quint32 *address)
{
    const QHostAddress first(text);
    *address = first.toIPv4Address();
    return first.protocol() == QAbstractSocket::IPv4Protocol && first.isLoopback() && *address <= lastLoopbackAddress;
}

QString problemWith(const FaultSettings &faults, Scheme scheme)
{
    return scheme == Scheme::Udp && mayClose(faults) ? nothingToClose(QStringLiteral("a UDP device")) : QString();
}

QString problemWith(const OsdSettings &group)
{
    for (const ScriptEntry &entry : group.faults.script) {
        if (!entry.device.isEmpty() && !group.plays(entry.device)) {
            return QStringLiteral("\"%1\" is none of the OSD devices; expected an address from %2 to %3")
                .arg(entry.device, QHostAddress(group.first).toString(), QHostAddress(group.last()).toString());
        }
    }
    return mayClose(group.faults) ? nothingToClose(QStringLiteral("an OSD device")) : QString();
}

} // namespace biz::simulator
