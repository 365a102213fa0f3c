#include <history/event.h>

#include <cmath>
#include <limits>

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <common/hex.h>

namespace biz::history {

namespace {

/** A hundred years: what a line tells beyond it is no time. */
constexpr double longestRunMs = 100 * 365.25 * 24 * 3600 * 1000;

using Kind = Event::Kind;

/** Reads the members of one line without fuss: what has another type is as if it was not there. */
class Line
{
public:
    explicit Line(QJsonObject object)
        : m_object(std::move(object))
    {
    }

    QString text(const char *name) const { return bounded(value(name).toString()); }
    bool boolean(const char *name) const { return value(name).toBool(); }
    double number(const char *name) const
    {
        const double number = value(name).toDouble(-1.0);
        return std::isfinite(number) ? number : -1.0;
    }

    double duration(const char *name) const
    {
        const double read = number(name);
        return read <= longestRunMs ? read : -1.0;
    }

    int integer(const char *name) const
    {
        const double read = number(name);
        constexpr double highest = std::numeric_limits<int>::max();
        return read >= 0.0 && read <= highest ? static_cast<int>(read) : -1;
    }

    QByteArray bytes(const char *name) const
    {
        return tools::bytesFromHex(value(name).toString()).value_or(QByteArray());
    }

    Line object(const QString &name) const { return Line(m_object.value(name).toObject()); }
    QStringList names() const { return m_object.keys(); }

    std::vector<Line> objects(const char *name) const
    {
        std::vector<Line> all;
        const QJsonArray array = value(name).toArray();
        for (const QJsonValue &item : array) {
            all.emplace_back(item.toObject());
        }
        return all;
    }

    quint64 count(const char *name) const
    {
        constexpr double highest = 9007199254740992.0; // what a JSON number holds exactly
        const double read = number(name);
        return read >= 0.0 && read <= highest ? static_cast<quint64>(read) : 0;
    }

    double time(const char *name) const
    {
        const QDateTime read = QDateTime::fromString(value(name).toString(), Qt::ISODateWithMs);
        return read.isValid() ? static_cast<double>(read.toMSecsSinceEpoch()) : -1.0;
    }

private:
    QJsonValue value(const char *name) const { return m_object.value(QLatin1String(name)); }

    QJsonObject m_object;
};

Kind kindOf(const QString &name)
{
    static const QHash<QString, Kind> kinds{
        {QStringLiteral("start"), Kind::Start},     {QStringLiteral("recording"), Kind::Start},
        {QStringLiteral("given"), Kind::Given},     {QStringLiteral("sent"), Kind::Sent},
        {QStringLiteral("resent"), Kind::Resent},   {QStringLiteral("rejected"), Kind::Rejected},
        {QStringLiteral("late"), Kind::Late},       {QStringLiteral("duplicate"), Kind::Duplicate},
        {QStringLiteral("foreign"), Kind::Foreign}, {QStringLiteral("linkStateChanged"), Kind::LinkState},
        {QStringLiteral("refused"), Kind::Refused}, {QStringLiteral("failed"), Kind::Failed},
        {QStringLiteral("problem"), Kind::Problem}, {QStringLiteral("summary"), Kind::Summary},
        {QStringLiteral("state"), Kind::State},     {QStringLiteral("lost"), Kind::Lost},
    };
    return kinds.value(name, Kind::Other);
}

host::LinkState linkStateNamed(const QString &name)
{
    using host::LinkState;
    for (const LinkState state : {LinkState::Closed, LinkState::Connecting, LinkState::Up, LinkState::Lost}) {
        if (host::linkStateName(state) == name) {
            return state;
        }
    }
    return LinkState::Closed;
}

void readStart(const Line &line, Event *event)
{
    const QString channel = line.text("channel");
    event->isOfDevice = channel != QLatin1String("osd");
    event->hasOneDevice = channel == QLatin1String("device");
    event->isPipelined = line.boolean("pipelined");
    event->deviceType = line.integer("deviceType");
    event->link = line.text("link");
    event->tool = line.text("tool");
    event->library = line.text("library");
    event->environment = line.text("environment");
}

void readCommand(const Line &line, Event *event)
{
    event->ticket = line.count("ticket");
    event->name = line.text("name");
    event->device = line.text("device");
    event->codes = line.text("command");
    event->waitMs = line.integer("waitMs");
    event->attempts = line.integer("attempts");
    event->roundTripMs = line.duration("roundTripMs");
    event->afterEndMs = line.duration("afterEndMs");
    event->bytes = line.integer("bytes");
    event->lines = line.integer("lines");
}

/** Of the device of this name; the commands that are pending have not ended, and their ends are still to come. */
Standing standingOf(const QString &device, const Line &line)
{
    Standing standing;
    standing.device = bounded(device);
    const QString state = line.text("state");
    if (!state.isEmpty()) {
        standing.linkState = linkStateNamed(state);
    }
    standing.sinceMs = line.time("since");
    standing.reason = line.text("reason");
    const Line counters = line.object(QStringLiteral("counters"));
    Tally &before = standing.before;
    before.answered = counters.count("answered");
    before.resent = counters.count("resent");
    before.givenUp = counters.count("gaveUp") + counters.count("released");
    before.unreachable = counters.count("unreachable");
    for (const char *const other :
         {"cleared", "skipped", "stopped", "expired", "superseded", "cancelled", "interrupted"}) {
        before.others += counters.count(other);
    }
    before.commands = before.answered + before.givenUp + before.unreachable + before.others;
    before.late = counters.count("late");
    before.duplicate = counters.count("duplicate");
    before.foreign = counters.count("foreign");
    standing.refusedBefore = counters.count("rejected");
    return standing;
}

/** An OSD host tells which of its devices do not reply. */
void readSilentDevices(const Line &line, Event *event)
{
    for (const Line &device : line.objects("silentDevices")) {
        Standing standing;
        standing.device = device.text("device");
        standing.silentSinceMs = device.time("silentSince");
        event->standings.push_back(standing);
    }
}

/** A fleet tells of each of its devices by its name. */
void readState(const Line &line, Event *event)
{
    const Line devices = line.object(QStringLiteral("devices"));
    const QStringList names = devices.names();
    event->pending = line.integer("pending");
    for (const QString &name : names) {
        event->standings.push_back(standingOf(name, devices.object(name)));
    }
    if (names.isEmpty()) {
        event->standings.push_back(standingOf(QString(), line));
    }
    readSilentDevices(line, event);
}

void readWhy(const Line &line, Event *event)
{
    event->reason = line.text(event->kind == Kind::Rejected ? "broken" : "reason");
    event->rule = line.text("rule");
    if (event->kind == Kind::LinkState) {
        event->linkState = linkStateNamed(line.text("state"));
        event->linkAttempts = line.integer("linkAttempts");
    }
}

} // namespace

QString bounded(const QString &text)
{
    return text.size() <= longestText ? text : text.left(longestText) + QChar(0x2026);
}

bool readEvent(const QByteArray &json, Event *event)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    const QJsonValue name = document.object().value(QLatin1String("event"));
    if (!name.isString()) {
        return false;
    }
    const Line line(document.object());
    *event = Event();
    event->kind = kindOf(name.toString());
    if (event->kind == Kind::Other && host::outcomeFromName(name.toString(), &event->outcome)) {
        event->kind = Kind::Ended;
    }
    event->utcMs = line.time("utc");
    event->atMs = line.duration("atMs"); // without it the wall clock tells when it happened
    if (event->kind == Kind::Other) {
        return true;
    }
    if (event->kind == Kind::Start) {
        event->atMs = 0.0;
        readStart(line, event);
        return event->utcMs >= 0.0;
    }
    if (event->kind == Kind::State) {
        readState(line, event);
        return event->utcMs >= 0.0;
    }
    readCommand(line, event);
    readWhy(line, event);
    if (event->kind == Kind::Rejected || event->kind == Kind::Ended) {
        event->head = line.bytes("head");
        event->data = line.bytes("data");
    }
    return event->utcMs >= 0.0;
}

} // namespace biz::history
