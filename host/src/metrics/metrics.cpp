#include <host/metrics.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>

#include <host/device_fleet.h>
#include <host/device_host.h>
#include <host/round_trips.h>
#include <metrics/metrics_text_p.h>

namespace biz::host {

namespace {

using Type = MetricsText::Type;

constexpr double msPerSecond = 1000.0;

/** A total and how it is called. */
struct Total
{
    quint64 Counters::*value;
    const char *name;
    const char *help;
};

constexpr Total totals[] = {
    {&Counters::enqueued, "biz_commands_enqueued_total", "Commands that were given to the host."},
    {&Counters::sent, "biz_commands_sent_total", "Commands that were written, resends apart."},
    {&Counters::resent, "biz_commands_resent_total", "Commands that were written a second time."},
    {&Counters::rejected, "biz_replies_rejected_total", "Replies that broke a rule of the model."},
    {&Counters::late, "biz_replies_late_total", "Replies to commands that had ended without one."},
    {&Counters::duplicate, "biz_replies_duplicate_total", "Further replies to commands that had been answered."},
    {&Counters::foreign, "biz_replies_foreign_total", "Replies to no command of this host."},
    {&Counters::dropped, "biz_replies_dropped_total", "Replies that the receive loop had no time for."},
    {&Counters::overflowed, "biz_datagrams_overflowed_total", "Datagrams that the system dropped unread."},
    {&Counters::refusedFrames, "biz_frames_refused_total", "Things that the decoder refused."},
    {&Counters::refusedBytes, "biz_refused_bytes_total", "Received bytes that belonged to no valid frame."},
    {&Counters::bytesOut, "biz_sent_bytes_total", "Bytes that were written."},
    {&Counters::bytesIn, "biz_received_bytes_total", "Bytes that were received."},
};

/** An outcome and where it is counted. */
struct Ending
{
    quint64 Counters::*value;
    Outcome outcome;
};

constexpr Ending endings[] = {
    {&Counters::answered, Outcome::Answered},       {&Counters::gaveUp, Outcome::GaveUp},
    {&Counters::cleared, Outcome::Cleared},         {&Counters::skipped, Outcome::Skipped},
    {&Counters::stopped, Outcome::Stopped},         {&Counters::released, Outcome::Released},
    {&Counters::expired, Outcome::Expired},         {&Counters::superseded, Outcome::Superseded},
    {&Counters::cancelled, Outcome::Cancelled},     {&Counters::unreachable, Outcome::Unreachable},
    {&Counters::interrupted, Outcome::Interrupted},
};
static_assert(std::size(totals) + std::size(endings) == counterRows.size(), "a total was added and has no metric");

/** Writes the figures of some hosts; made for one call. */
class Writer
{
public:
    explicit Writer(const QVector<HostMetrics> &hosts)
        : m_hosts(hosts.mid(0, mostMetricsHosts))
        , m_further(hosts.size() - m_hosts.size())
    {
    }

    QByteArray write()
    {
        writeTotals();
        writeEndings();
        writeRejections();
        writeQueues();
        writeLinks();
        writeRoundTrips();
        writeDevices();
        return m_text.text();
    }

private:
    static MetricsLabels labelsOf(const HostMetrics &host)
    {
        return {{"channel", host.channel}, {"device", host.device}};
    }

    /** A value of every host. */
    template<typename Value>
    void each(const char *name, Type type, const char *help, const Value &value)
    {
        m_text.begin(name, type, help);
        for (const HostMetrics &host : m_hosts) {
            m_text.value(labelsOf(host), value(host));
        }
    }

    void writeTotals();
    void writeEndings();
    void writeRejections();
    void writeQueues();
    void writeLinks();
    void writeRoundTrips();
    void writeDevices();

    QVector<HostMetrics> m_hosts;
    qint64 m_further;
    MetricsText m_text;
};

void Writer::writeTotals()
{
    for (const Total &total : totals) {
        each(total.name, Type::Counter, total.help,
             [&total](const HostMetrics &host) { return static_cast<double>(host.counters.*total.value); });
    }
}

void Writer::writeEndings()
{
    m_text.begin("biz_commands_ended_total", Type::Counter, "Commands by how they ended.");
    for (const HostMetrics &host : m_hosts) {
        for (const Ending &ending : endings) {
            m_text.value(labelsOf(host).with("outcome", outcomeName(ending.outcome)),
                         static_cast<double>(host.counters.*ending.value));
        }
    }
}

void Writer::writeRejections()
{
    m_text.begin("biz_replies_rejected_by_rule_total", Type::Counter, "Replies that broke a rule, by the rule.");
    for (const HostMetrics &host : m_hosts) {
        const QMap<QString, quint64> &rules = host.counters.rejectedByRule;
        for (auto rule = rules.begin(); rule != rules.end(); ++rule) {
            m_text.value(labelsOf(host).with("rule", rule.key()), static_cast<double>(rule.value()));
        }
    }
}

void Writer::writeQueues()
{
    each("biz_queue_length", Type::Gauge, "Commands that wait to be written.",
         [](const HostMetrics &host) { return host.counters.queueLength; });
    each("biz_queue_length_max", Type::Gauge, "The most commands that ever waited.",
         [](const HostMetrics &host) { return host.counters.queueLengthMax; });
    each("biz_last_seen_timestamp_seconds", Type::Gauge, "When anything was received last; 0: never.",
         [](const HostMetrics &host) { return static_cast<double>(host.counters.lastSeenUtcMs) / msPerSecond; });
    m_text.begin("biz_hosts_not_listed", Type::Gauge, "Hosts that have no lines, since there are too many.");
    m_text.value({}, static_cast<double>(m_further));
}

void Writer::writeLinks()
{
    m_text.begin("biz_link_state", Type::Gauge, "1 for the state that the link is in.");
    for (const HostMetrics &host : m_hosts) {
        if (host.channel != QLatin1String("device")) {
            continue;
        }
        for (const LinkState state : {LinkState::Closed, LinkState::Connecting, LinkState::Up, LinkState::Lost}) {
            m_text.value(labelsOf(host).with("state", linkStateName(state)), state == host.link ? 1.0 : 0.0);
        }
    }
}

// From an eighth of a millisecond to a minute, by doublings of a microsecond.
void Writer::writeRoundTrips()
{
    constexpr int firstBound = 7;
    constexpr int lastBound = 26;
    constexpr double secondsOfMicrosecond = 1e-6;
    m_text.begin("biz_round_trip_seconds", Type::Histogram, "From the writing of a command to its reply.");
    for (const HostMetrics &host : m_hosts) {
        const RoundTrips &trips = host.counters.roundTrips;
        const MetricsLabels labels = labelsOf(host);
        for (int bound = firstBound; bound <= lastBound; ++bound) {
            const double seconds = secondsOfMicrosecond * static_cast<double>(1U << static_cast<unsigned>(bound));
            m_text.value(labels.with("le", QString::number(seconds, 'g', 8)),
                         static_cast<double>(trips.countBelow(bound)), "_bucket");
        }
        m_text.value(labels.with("le", QStringLiteral("+Inf")), static_cast<double>(trips.count()), "_bucket");
        m_text.value(labels, trips.sum() / msPerSecond, "_sum");
        m_text.value(labels, static_cast<double>(trips.count()), "_count");
    }
}

void Writer::writeDevices()
{
    m_text.begin("biz_osd_device_reachable", Type::Gauge, "1: heard of, and no command given up since.");
    for (const HostMetrics &host : m_hosts) {
        for (const OsdDeviceStatus &device : host.devices.mid(0, mostMetricsDevices)) {
            m_text.value(labelsOf(host).with("ip", device.ip), device.reachable ? 1.0 : 0.0);
        }
    }
    m_text.begin("biz_osd_device_commands_given_up_total", Type::Counter, "Commands of a device without reply.");
    for (const HostMetrics &host : m_hosts) {
        for (const OsdDeviceStatus &device : host.devices.mid(0, mostMetricsDevices)) {
            m_text.value(labelsOf(host).with("ip", device.ip), static_cast<double>(device.counters.gaveUp));
        }
    }
    each("biz_osd_devices", Type::Gauge, "Devices that were ever given a command, also those without lines.",
         [](const HostMetrics &host) { return static_cast<double>(host.devices.size()); });
}

/** A device or a pipe is written to, and stays what it is. */
bool writeInPlace(const QString &path, const QByteArray &text, QString *error)
{
    QFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
    *error = file.errorString();
    return isWritten;
}

/** Whoever reads a file meanwhile sees the old figures or the new ones. */
bool replaceFile(const QString &path, const QByteArray &text, QString *error)
{
    QSaveFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit();
    *error = file.errorString();
    return isWritten;
}

} // namespace

HostMetrics metricsOf(const DeviceHost &host)
{
    HostMetrics metrics;
    metrics.channel = QStringLiteral("device");
    metrics.counters = host.counters();
    metrics.link = host.linkStatus().state;
    return metrics;
}

HostMetrics metricsOf(const OsdHost &host)
{
    HostMetrics metrics;
    metrics.channel = QStringLiteral("osd");
    metrics.counters = host.counters();
    metrics.devices = host.devices();
    return metrics;
}

QVector<HostMetrics> metricsOf(const DeviceFleet &fleet)
{
    QVector<HostMetrics> all;
    const QStringList names = fleet.names();
    for (const QString &name : names) {
        HostMetrics metrics;
        metrics.channel = QStringLiteral("device");
        metrics.device = name;
        metrics.counters = fleet.counters(name);
        metrics.link = fleet.linkStatus(name).state;
        all.append(metrics);
    }
    return all;
}

QByteArray metricsText(const QVector<HostMetrics> &hosts)
{
    return Writer(hosts).write();
}

bool writeMetrics(const QString &path, const QVector<HostMetrics> &hosts, QString *error)
{
    const QByteArray text = metricsText(hosts);
    const QFileInfo there(path);
    QString why;
    const bool isWritten =
        there.exists() && !there.isFile() ? writeInPlace(path, text, &why) : replaceFile(path, text, &why);
    if (!isWritten && error != nullptr) {
        *error = QStringLiteral("%1: %2").arg(path, why);
    }
    return isWritten;
}

} // namespace biz::host
