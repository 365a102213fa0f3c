#include <biz_console/output/json_sink.h>

#include <common/units.h>
#include <common/utf8_stream.h>
#include <host/event.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>

namespace biz::console {

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

/** Negative numbers are what an event of a run does not have. */
template<typename Number>
std::optional<Number> unlessNegative(Number number)
{
    return number < 0 ? std::nullopt : std::make_optional(number);
}

host::EventKind kindOf(Event event)
{
    switch (event) {
    case Event::Sent:
        return host::EventKind::Sent;
    case Event::Resent:
        return host::EventKind::Resent;
    case Event::Rejected:
        return host::EventKind::Rejected;
    case Event::Late:
        return host::EventKind::Late;
    case Event::Duplicate:
        return host::EventKind::Duplicate;
    case Event::Foreign:
        return host::EventKind::Foreign;
    }
    Q_UNREACHABLE();
}

host::EventKind kindOf(const RunEvent &event)
{
    switch (event.kind) {
    case RunEvent::Kind::Opened:
        return host::EventKind::Opened;
    case RunEvent::Kind::LinkStateChanged:
        return host::EventKind::LinkStateChanged;
    case RunEvent::Kind::Given:
        return host::EventKind::Given;
    case RunEvent::Kind::Happened:
        return kindOf(event.event);
    case RunEvent::Kind::Ended:
        return host::endEvent(event.outcome);
    case RunEvent::Kind::Refused:
        return host::EventKind::Refused;
    case RunEvent::Kind::Failed:
        return host::EventKind::Failed;
    case RunEvent::Kind::Problem:
        return host::EventKind::Problem;
    }
    Q_UNREACHABLE();
}

host::Event eventAt(host::EventKind kind, const QDateTime &utc, double atMs)
{
    host::Event event;
    event.kind = kind;
    event.utcMs = utc.toMSecsSinceEpoch();
    event.atMs = atMs;
    return event;
}

/** As an event of the kit, which knows how all of them are written. */
host::Event eventOf(const RunEvent &run)
{
    host::Event event = eventAt(kindOf(run), run.utc, run.atMs);
    event.ticket = run.ticket;
    event.name = run.name;
    event.which = run.which;
    event.device = run.device;
    event.codes = run.codes;
    event.sequence = unlessNegative(run.sequence);
    event.attempts = unlessNegative(run.attempts);
    event.waitMs = unlessNegative(run.waitMs);
    event.head = run.head;
    event.data = run.data;
    event.text = run.text;
    event.flag = unlessNegative(run.flag);
    event.roundTripMs = unlessNegative(run.roundTripMs);
    event.afterEndMs = unlessNegative(run.afterEndMs);
    event.bytes = unlessNegative(run.bytes);
    event.reason = run.reason;
    event.rule = run.rule;
    event.history = run.history;
    if (run.kind == RunEvent::Kind::LinkStateChanged) {
        event.link = run.link;
        event.error = run.link.error;
    }
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
    QJsonObject keys{{key("format"), host::eventFormat},
                     {key("channel"), run.isOfDevice ? QStringLiteral("device") : QStringLiteral("osd")},
                     {key("link"), run.target}};
    if (run.isOfDevice) {
        keys.insert(key("deviceType"), run.deviceType);
        keys.insert(key("pipelined"), run.isPipelined);
    }
    line(host::jsonLine(eventAt(host::EventKind::Start, run.utc, 0.0), keys));
}

void JsonSink::happened(const RunEvent &event)
{
    if (!m_events) {
        return;
    }
    QJsonObject keys;
    if (event.kind == RunEvent::Kind::Given) {
        keys.insert(key("expect"), expectationOf(event.expected));
    }
    line(host::jsonLine(eventOf(event), keys));
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
    line(host::jsonLine(eventAt(host::EventKind::Summary, end.utc, end.atMs), keys));
}

void JsonSink::line(const QByteArray &json)
{
    m_out << json;
    m_out.flush();
}

} // namespace biz::console
