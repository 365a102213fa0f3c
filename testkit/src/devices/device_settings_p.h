#ifndef BIZ_TESTKIT_DEVICE_SETTINGS_P_H
#define BIZ_TESTKIT_DEVICE_SETTINGS_P_H

#include <memory>
#include <optional>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <host/osd_host.h>
#include <recording/recorded_devices.h>
#include <testkit/faults.h>

namespace biz::testkit {

/** The most memory, roughly, that the delayed replies of a device or of a group take together. */
constexpr qint64 mostDelayedBytes = qint64{32} << 20;

/** Until the next try to listen at an address that somebody else has taken meanwhile. */
constexpr int returnRetryMs = 500;

/** A device of the device channel. */
struct DeviceSettings
{
    QString name;  ///< in its summary
    QString label; ///< in its event lines
    rules::Model model = rules::Model::OrlixA2;
    int delayMs = 0;
    FaultSettings faults;
    std::shared_ptr<const tools::RecordedDevice> recorded; ///< it answers as this one; null: by its model's rules
    qint64 mostDelayed = mostDelayedBytes;                 ///< at which it reads no further command
};

/** A row of OSD devices on consecutive addresses, or those of a recording on their own. */
struct OsdSettings
{
    QString name; ///< in its summary
    quint32 first = 0;
    int count = 0;
    QStringList recordedAddresses;           ///< of the next ones, where they are played at others
    QVector<tools::RecordedDevice> recorded; ///< those that answer as in a recording, by their addresses; else none
    quint16 port = host::OsdHost::defaultPort;
    int delayMs = 0;
    FaultSettings faults;
    qint64 mostDelayed = mostDelayedBytes; ///< beyond which replies are lost

    /** Whether one of the devices has this address, in the spelling of QHostAddress. */
    bool plays(const QString &address) const;

    /** The n-th of them, from 0. */
    QHostAddress addressAt(int device) const;

    /** Which of them has this address; none: -1. */
    int placeOf(const QString &address) const;

    quint32 last() const { return first + static_cast<quint32>(count) - 1; }

    /** Takes the place of the row. */
    void play(const QVector<tools::RecordedDevice> &devices);
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
