#include <biz_console/output/json_sink.h>

#include <common/hex.h>
#include <common/units.h>
#include <common/utf8_stream.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace biz::console {

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

void insertText(QJsonObject &object, const char *name, const QString &text)
{
    if (!text.isEmpty()) {
        object.insert(key(name), text);
    }
}

/** A negative number is one that the event does not have. */
void insertNumber(QJsonObject &object, const char *name, int number)
{
    if (number >= 0) {
        object.insert(key(name), number);
    }
}

void insertMilliseconds(QJsonObject &object, const char *name, double milliseconds)
{
    if (milliseconds >= 0) {
        object.insert(key(name), tools::roundedMs(milliseconds));
    }
}

void insertHex(QJsonObject &object, const char *name, const QByteArray &bytes)
{
    if (!bytes.isEmpty()) {
        object.insert(key(name), tools::hexText(bytes));
    }
}

QJsonObject lineOf(const QString &event, const QDateTime &utc, double atMs)
{
    QJsonObject object;
    object.insert(key("event"), event);
    object.insert(key("utc"), utc.toString(Qt::ISODateWithMs));
    object.insert(key("atMs"), tools::roundedMs(atMs));
    return object;
}

QJsonArray historyOf(const QVector<host::CommandEvent> &history)
{
    QJsonArray events;
    for (const host::CommandEvent &event : history) {
        events.append(QJsonObject{{key("atMs"), tools::roundedMs(event.atMs)}, {key("text"), event.text}});
    }
    return events;
}

QJsonObject expectationOf(const Expectation &expected)
{
    return {{key("outcome"), host::outcomeName(expected.outcome)},
            {key("events"), QJsonArray::fromStringList(namesOf(expected.events))}};
}

void insertCommand(QJsonObject &object, const RunEvent &event)
{
    if (event.ticket != 0) {
        object.insert(key("ticket"), static_cast<qint64>(event.ticket));
    }
    insertText(object, "name", event.name);
    insertText(object, "which", event.which);
    insertText(object, "device", event.device);
    insertText(object, "command", event.codes);
    insertNumber(object, "sequence", event.sequence);
    insertNumber(object, "attempts", event.attempts);
    insertNumber(object, "waitMs", event.waitMs);
}

void insertRecord(QJsonObject &object, const RunEvent &event)
{
    insertHex(object, "head", event.head);
    insertHex(object, "data", event.data);
    insertText(object, "text", event.text);
    insertNumber(object, "flag", event.flag);
}

void insertWhy(QJsonObject &object, const RunEvent &event)
{
    const bool isRejection = event.kind == RunEvent::Kind::Happened && event.event == Event::Rejected;
    insertText(object, isRejection ? "broken" : "reason", event.reason);
    insertText(object, "rule", event.rule);
    insertMilliseconds(object, "roundTripMs", event.roundTripMs);
    insertMilliseconds(object, "afterEndMs", event.afterEndMs);
    insertNumber(object, "bytes", event.bytes);
    if (!event.history.isEmpty()) {
        object.insert(key("history"), historyOf(event.history));
    }
}

void insertLink(QJsonObject &object, const host::LinkStatus &link)
{
    object.insert(key("state"), host::linkStateName(link.state));
    insertNumber(object, "linkAttempts", link.attempts);
}

QJsonObject countersOf(const host::Counters &counters)
{
    const std::pair<const char *, quint64> numbers[] = {
        {"enqueued", counters.enqueued},
        {"sent", counters.sent},
        {"resent", counters.resent},
        {"answered", counters.answered},
        {"gaveUp", counters.gaveUp},
        {"cleared", counters.cleared},
        {"skipped", counters.skipped},
        {"stopped", counters.stopped},
        {"released", counters.released},
        {"expired", counters.expired},
        {"superseded", counters.superseded},
        {"cancelled", counters.cancelled},
        {"unreachable", counters.unreachable},
        {"interrupted", counters.interrupted},
        {"rejected", counters.rejected},
        {"late", counters.late},
        {"duplicate", counters.duplicate},
        {"foreign", counters.foreign},
        {"dropped", counters.dropped},
        {"refusedBytes", counters.refusedBytes},
        {"refusedFrames", counters.refusedFrames},
        {"bytesOut", counters.bytesOut},
        {"bytesIn", counters.bytesIn},
    };
    QJsonObject object;
    for (const auto &number : numbers) {
        object.insert(key(number.first), static_cast<qint64>(number.second));
    }
    return object;
}

QJsonObject rejectionsOf(const host::Counters &counters)
{
    QJsonObject object;
    for (auto rule = counters.rejectedByRule.begin(); rule != counters.rejectedByRule.end(); ++rule) {
        object.insert(rule.key(), static_cast<qint64>(rule.value()));
    }
    return object;
}

QJsonObject roundTripsOf(double minMs, double medianMs, double p99Ms, double maxMs)
{
    QJsonObject object;
    insertMilliseconds(object, "minMs", minMs);
    insertMilliseconds(object, "medianMs", medianMs);
    insertMilliseconds(object, "p99Ms", p99Ms);
    insertMilliseconds(object, "maxMs", maxMs);
    return object;
}

QJsonArray devicesOf(const QVector<OsdDeviceTotals> &rows)
{
    QJsonArray devices;
    for (const OsdDeviceTotals &row : rows) {
        QJsonObject device;
        device.insert(key("device"), row.device);
        device.insert(key("sent"), static_cast<qint64>(row.sent));
        device.insert(key("answered"), static_cast<qint64>(row.answered));
        device.insert(key("gaveUp"), static_cast<qint64>(row.timedOut));
        device.insert(key("waiting"), row.waiting);
        device.insert(key("roundTrip"), roundTripsOf(-1.0, row.medianMs, -1.0, row.maximumMs));
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
    QJsonObject object = lineOf(QStringLiteral("start"), run.utc, 0.0);
    object.insert(key("channel"), run.isOfDevice ? QStringLiteral("device") : QStringLiteral("osd"));
    object.insert(key("link"), run.target);
    if (run.isOfDevice) {
        object.insert(key("deviceType"), run.deviceType);
        object.insert(key("pipelined"), run.isPipelined);
    }
    line(object);
}

void JsonSink::happened(const RunEvent &event)
{
    if (!m_events) {
        return;
    }
    QJsonObject object = lineOf(event.kindName(), event.utc, event.atMs);
    insertCommand(object, event);
    insertRecord(object, event);
    insertWhy(object, event);
    if (event.kind == RunEvent::Kind::LinkStateChanged) {
        insertLink(object, event.link);
    }
    if (event.kind == RunEvent::Kind::Given) {
        object.insert(key("expect"), expectationOf(event.expected));
    }
    line(object);
}

void JsonSink::ended(const RunEnd &end)
{
    const host::Counters &counters = end.summary.counters;
    QJsonObject object = lineOf(QStringLiteral("summary"), end.utc, end.atMs);
    object.insert(key("commands"), end.total);
    object.insert(key("asExpected"), end.allAsExpected);
    object.insert(key("endedEarly"), end.endedEarly);
    object.insert(key("exitStatus"), end.exitCode);
    object.insert(key("mismatchCount"), end.mismatchCount);
    object.insert(key("mismatches"), QJsonArray::fromStringList(end.mismatches));
    object.insert(key("stopped"), QJsonArray::fromStringList(end.stopped));
    object.insert(key("counters"), countersOf(counters));
    object.insert(key("rejectedByRule"), rejectionsOf(counters));
    object.insert(key("roundTrip"), roundTripsOf(counters.roundTripMinMs, counters.roundTripMedianMs,
                                                 counters.roundTripP99Ms, counters.roundTripMaxMs));
    object.insert(key("seconds"), tools::roundedMs(end.summary.seconds));
    insertText(object, "errorLog", end.summary.errorLog);
    if (!end.summary.isOfDevice) {
        object.insert(key("devices"), devicesOf(end.devices));
    }
    line(object);
}

void JsonSink::line(const QJsonObject &object)
{
    m_out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    m_out.flush();
}

} // namespace biz::console
