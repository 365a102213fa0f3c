#include <biz_console/output/json_sink.h>

#include <common/files/utf8_stream.h>
#include <common/units.h>
#include <host/event.h>
#include <host/event_source.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>

namespace biz::console {

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

host::Event eventAt(host::EventKind kind, qint64 utcMs, double atMs)
{
    host::Event event;
    event.kind = kind;
    event.utcMs = utcMs;
    event.atMs = atMs;
    return event;
}

QJsonObject expectationOf(const Expectation &expected)
{
    return {{key("outcome"), host::outcomeName(expected.outcome)},
            {key("events"), QJsonArray::fromStringList(namesOf(expected.events))}};
}

QJsonObject rejectionsOf(const host::Counters &counters)
{
    QJsonObject object;
    for (auto rule = counters.rejectedByRule.begin(); rule != counters.rejectedByRule.end(); ++rule) {
        object.insert(rule.key(), static_cast<qint64>(rule.value()));
    }
    return object;
}

QJsonArray devicesOf(const QVector<OsdDeviceTotals> &rows)
{
    QJsonArray devices;
    for (const OsdDeviceTotals &row : rows) {
        QJsonObject device;
        device.insert(key("device"), row.device);
        device.insert(key("sent"), static_cast<qint64>(row.counters.sent));
        device.insert(key("answered"), static_cast<qint64>(row.counters.answered));
        device.insert(key("gaveUp"), static_cast<qint64>(row.counters.gaveUp));
        device.insert(key("waiting"), row.counters.queueLength);
        device.insert(key("roundTrip"), host::roundTripToJson(row.counters));
        device.insert(key("reachable"), row.isReachable);
        if (row.silentSinceUtcMs != 0) {
            const QDateTime since = QDateTime::fromMSecsSinceEpoch(row.silentSinceUtcMs, Qt::UTC);
            device.insert(key("silentSince"), since.toString(Qt::ISODateWithMs));
        }
        devices.append(device);
    }
    return devices;
}

} // namespace

JsonSink::JsonSink(QTextStream &out, bool events)
    : m_out(out)
    , m_events(events)
{
    // JSON is UTF-8 whatever the locale says.
    tools::writeUtf8(m_out);
}

void JsonSink::started(const RunStart &run)
{
    QJsonObject keys = host::versionKeys();
    keys.insert(key("tool"), QStringLiteral("biz_console " BIZ_CONSOLE_VERSION));
    keys.insert(key("format"), host::eventFormat);
    keys.insert(key("channel"), run.isOfDevice ? QStringLiteral("device") : QStringLiteral("osd"));
    keys.insert(key("link"), run.target);
    if (run.isOfDevice) {
        keys.insert(key("deviceType"), run.deviceType);
        keys.insert(key("pipelined"), run.isPipelined);
    }
    line(host::jsonLine(eventAt(host::EventKind::Start, run.utc.toMSecsSinceEpoch(), 0.0), keys));
}

void JsonSink::happened(const host::Event &event)
{
    tell(event, {});
}

void JsonSink::given(const host::Event &event, const Expectation &expected)
{
    tell(event, {{key("expect"), expectationOf(expected)}});
}

void JsonSink::brokeOff(const host::Event &event, RunProblem problem)
{
    tell(event, {{key("problem"), problemName(problem)}});
}

void JsonSink::tell(const host::Event &event, const QJsonObject &more)
{
    const bool isOutage = tellsOfOutage(event);
    if (m_events || isOutage) {
        line(host::jsonLine(event, more));
    }
}

/** Whether the link was lost, or is back. */
bool JsonSink::tellsOfOutage(const host::Event &event)
{
    if (!event.link) {
        return false;
    }
    const bool isLost = event.link->state == host::LinkState::Lost;
    const bool isBack = event.link->state == host::LinkState::Up && m_isLinkLost;
    m_isLinkLost = isLost || (m_isLinkLost && !isBack);
    return isLost || isBack;
}

void JsonSink::ended(const RunEnd &end)
{
    const host::Counters &counters = end.summary.counters;
    QJsonObject keys{{key("commands"), end.total},
                     {key("asExpected"), end.allAsExpected},
                     {key("endedEarly"), end.endedEarly},
                     {key("exitStatus"), end.exitCode},
                     {key("mismatchCount"), end.mismatchCount},
                     {key("mismatches"), QJsonArray::fromStringList(end.mismatches)},
                     {key("stopped"), QJsonArray::fromStringList(end.stopped)},
                     {key("counters"), host::toJson(counters)},
                     {key("rejectedByRule"), rejectionsOf(counters)},
                     {key("roundTrip"), host::roundTripToJson(counters)},
                     {key("seconds"), tools::roundedMs(end.summary.seconds)}};
    if (!end.summary.errorLog.isEmpty()) {
        keys.insert(key("errorLog"), end.summary.errorLog);
    }
    if (!end.summary.isOfDevice) {
        keys.insert(key("devices"), devicesOf(end.devices));
    }
    line(host::jsonLine(eventAt(host::EventKind::Summary, end.utcMs, end.atMs), keys));
}

void JsonSink::line(const QByteArray &json)
{
    m_out << json;
    m_out.flush();
}

} // namespace biz::console
