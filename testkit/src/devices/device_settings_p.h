#ifndef BIZ_TESTKIT_DEVICE_SETTINGS_P_H
#define BIZ_TESTKIT_DEVICE_SETTINGS_P_H

#include <optional>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <host/osd_host.h>
#include <testkit/faults.h>

namespace biz::testkit {

/** The most memory, roughly, that the delayed replies of a device or of a group take together. */
constexpr qint64 mostDelayedBytes = qint64{32} << 20;

/** A device of the device channel. */
struct DeviceSettings
{
    QString name;  ///< in its summary
    QString label; ///< in its event lines
    rules::Model model = rules::Model::OrlixA2;
    int delayMs = 0;
    FaultSettings faults;
    qint64 mostDelayed = mostDelayedBytes; ///< at which it reads no further command
};

/** A row of OSD devices on consecutive addresses. */
struct OsdSettings
{
    QString name; ///< in its summary
    quint32 first = 0;
    int count = 0;
    quint16 port = host::OsdHost::defaultPort;
    int delayMs = 0;
    FaultSettings faults;
    qint64 mostDelayed = mostDelayedBytes; ///< beyond which replies are lost

    /** Whether one of the devices has this address, in the spelling of QHostAddress. */
    bool plays(const QString &address) const;

    quint32 last() const { return first + static_cast<quint32>(count) - 1; }
};

/** The names of the models that can be played. */
QStringList modelNames();

/** A model, and its name as it is usual. */
struct NamedModel
{
    rules::Model model;
    QString name;
};

/** The model of this name, in whatever case it is written; none when there is none. */
std::optional<NamedModel> findModel(const QString &name);

} // namespace biz::testkit

#endif
