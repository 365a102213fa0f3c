#ifndef BIZ_HOST_METRICS_H
#define BIZ_HOST_METRICS_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <host/counters.h>
#include <host/host_export.h>
#include <host/osd_host.h>
#include <host/vocabulary.h>

/**
 * Figures of hosts for a monitoring system that collects files in the Prometheus text format:
 *
 *     writeMetrics(QStringLiteral("/var/lib/node_exporter/wall.prom"), {metricsOf(host)}, &error);
 *
 * An application calls it from a timer, every ten seconds as a rule. Times are in seconds, sizes in bytes, and
 * every total begins at 0 when its host is made.
 */
namespace biz::host {

class DeviceFleet;
class DeviceHost;

/** The hosts, and the devices of a host, that have lines of their own; further ones are counted. */
constexpr int mostMetricsHosts = 256;
constexpr int mostMetricsDevices = 256;

/** A host at one moment. */
struct HostMetrics
{
    QString channel; ///< "device" or "osd": a label of every line
    QString device;  ///< a further label where several hosts share a file; empty: none
    Counters counters;
    LinkState link = LinkState::Closed; ///< of the device channel
    QVector<OsdDeviceStatus> devices;   ///< of the OSD channel
};

/** These are called on the host's thread, as all of its functions are but for counters(). */
BIZ_HOST_EXPORT HostMetrics metricsOf(const DeviceHost &host);
BIZ_HOST_EXPORT HostMetrics metricsOf(const OsdHost &host);

/** Each device of a fleet, with its name as label. */
BIZ_HOST_EXPORT QVector<HostMetrics> metricsOf(const DeviceFleet &fleet);

/** All of it as text. Labels are shortened, and their number is bounded. */
BIZ_HOST_EXPORT QByteArray metricsText(const QVector<HostMetrics> &hosts);

/**
 * The same as a file that is replaced atomically: who reads it sees the old one or the new one, whole. Waits for the
 * disk, on any thread. False, with `error`, when it could not be written.
 */
[[nodiscard]] BIZ_HOST_EXPORT bool writeMetrics(const QString &path, const QVector<HostMetrics> &hosts, QString *error);

} // namespace biz::host

#endif
