#include <host/event.h>

#include <events/event_lines_p.h>

namespace biz::host {

namespace {

void addText(JsonLines &line, JsonKey key, const QString &value)
{
    if (!value.isEmpty()) {
        line.text(key, value);
    }
}

void addHex(JsonLines &line, JsonKey key, const QByteArray &bytes)
{
    if (!bytes.isEmpty()) {
        line.hex(key, bytes);
    }
}

template<typename Number>
void addNumber(JsonLines &line, JsonKey key, const std::optional<Number> &value)
{
    if (value) {
        line.number(key, *value);
    }
}

void addMilliseconds(JsonLines &line, JsonKey key, const std::optional<double> &value)
{
    if (value) {
        line.milliseconds(key, *value);
    }
}

void addCommand(JsonLines &line, const Event &event)
{
    if (event.ticket != 0) {
        line.number("ticket", static_cast<qint64>(event.ticket));
    }
    addText(line, "id", event.id);
    addText(line, "name", event.name);
    addText(line, "which", event.which);
    addText(line, "device", event.device);
    addText(line, "command", event.codes);
    addNumber(line, "sequence", event.sequence);
    addNumber(line, "attempts", event.attempts);
    addNumber(line, "waitMs", event.waitMs);
}

void addRecord(JsonLines &line, const Event &event)
{
    addHex(line, "head", event.head);
    addHex(line, "data", event.data);
    addText(line, "text", event.text);
    addNumber(line, "flag", event.flag);
}

void addLink(JsonLines &line, const LinkStatus &link)
{
    line.text("state", linkStateName(link.state));
    line.number("linkAttempts", link.attempts);
}

void addHistory(JsonLines &line, const QVector<CommandEvent> &history)
{
    line.beginArray("history");
    for (int i = 0; i < history.size(); ++i) {
        line.beginObject(i == 0);
        line.milliseconds("atMs", history.at(i).atMs);
        line.text("text", history.at(i).text);
        line.endObject();
    }
    line.endArray();
}

void addWhy(JsonLines &line, const Event &event)
{
    if (event.error != Error::None) {
        line.text("error", errorName(event.error));
    }
    addText(line, event.kind == EventKind::Rejected ? "broken" : "reason", event.reason);
    addText(line, "rule", event.rule);
    addMilliseconds(line, "roundTripMs", event.roundTripMs);
    addMilliseconds(line, "afterEndMs", event.afterEndMs);
    addNumber(line, "bytes", event.bytes);
    addNumber(line, "lines", event.lines);
    if (!event.history.isEmpty()) {
        addHistory(line, event.history);
    }
}

} // namespace

void write(JsonLines &line, const Event &event, const QJsonObject &more)
{
    line.begin();
    line.text("event", eventName(event.kind));
    line.utc("utc", event.utcMs);
    line.milliseconds("atMs", event.atMs);
    addCommand(line, event);
    addRecord(line, event);
    if (event.link) {
        addLink(line, *event.link);
    }
    addWhy(line, event);
    line.more(more);
    line.end();
}

QByteArray jsonLine(const Event &event, const QJsonObject &more)
{
    JsonLines line;
    write(line, event, more);
    return line.take();
}

QJsonObject toJson(const Counters &counters)
{
    QJsonObject object;
    for (const CounterRow &row : counterRows) {
        object.insert(QString::fromLatin1(row.name), static_cast<qint64>(counters.*row.value));
    }
    return object;
}

QJsonObject roundTripToJson(const Counters &counters)
{
    const std::pair<const char *, double> times[] = {
        {"minMs", counters.roundTripMinMs},
        {"medianMs", counters.roundTripMedianMs},
        {"p99Ms", counters.roundTripP99Ms},
        {"maxMs", counters.roundTripMaxMs},
    };
    QJsonObject object;
    for (const auto &time : times) {
        if (time.second >= 0.0) {
            object.insert(QString::fromLatin1(time.first), roundedMs(time.second));
        }
    }
    return object;
}

} // namespace biz::host
