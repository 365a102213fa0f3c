#include <fleet/worker_line_p.h>

#include <algorithm>
#include <iterator>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaEnum>

#include <wire/hex_bytes_p.h>

namespace biz::host {

namespace {

/** Byte 0 of a head is the channel's: a line that gives a command has the others. */
constexpr int stampedHeadBytes = 1;

QString textOf(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

double numberOf(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toDouble();
}

std::optional<int> integerOf(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? std::make_optional(value.toInt()) : std::nullopt;
}

std::optional<double> millisecondsOf(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? std::make_optional(value.toDouble()) : std::nullopt;
}

QByteArray bytesOf(const QJsonObject &object, const char *key)
{
    return wire::bytesFromHex(textOf(object, key)).value_or(QByteArray());
}

/** The value of the enumerator whose name, as lines have it, this is. */
template<typename Enum>
Enum enumFrom(const QString &name, Enum fallback)
{
    const QMetaEnum all = QMetaEnum::fromType<Enum>();
    QByteArray key = name.toLatin1();
    key.replace(0, 1, key.left(1).toUpper());
    bool isFound = false;
    const int value = all.keyToValue(key.constData(), &isFound);
    return isFound ? static_cast<Enum>(value) : fallback;
}

LinkStatus linkOf(const QJsonObject &object, const Event &event)
{
    LinkStatus status;
    status.state = enumFrom(textOf(object, "state"), LinkState::Connecting);
    status.since = QDateTime::fromMSecsSinceEpoch(event.utcMs, Qt::UTC);
    status.attempts = object.value(QLatin1String("linkAttempts")).toInt();
    status.error = event.error;
    status.reason = event.reason;
    return status;
}

QVector<CommandEvent> historyOf(const QJsonArray &array)
{
    QVector<CommandEvent> history;
    for (const QJsonValue &value : array) {
        if (history.size() == maxCommandEvents) {
            break;
        }
        const QJsonObject object = value.toObject();
        history.append({numberOf(object, "atMs"), textOf(object, "text")});
    }
    return history;
}

Counters countersOf(const QJsonObject &object)
{
    constexpr double mostExact = 9007199254740992.0; // beyond it a number of JSON is no count
    Counters counters;
    for (const CounterRow &row : counterRows) {
        counters.*row.value = static_cast<quint64>(std::clamp(numberOf(object, row.name), 0.0, mostExact));
    }
    return counters;
}

Event eventOf(EventKind kind, const QJsonObject &object)
{
    Event event;
    event.kind = kind;
    event.utcMs = QDateTime::fromString(textOf(object, "utc"), Qt::ISODateWithMs).toMSecsSinceEpoch();
    event.id = textOf(object, "id");
    event.codes = textOf(object, "command");
    event.sequence = integerOf(object, "sequence");
    event.attempts = integerOf(object, "attempts");
    event.waitMs = integerOf(object, "waitMs");
    event.head = bytesOf(object, "head");
    event.data = bytesOf(object, "data");
    event.roundTripMs = millisecondsOf(object, "roundTripMs");
    event.afterEndMs = millisecondsOf(object, "afterEndMs");
    event.bytes = integerOf(object, "bytes");
    event.error = enumFrom(textOf(object, "error"), Error::None);
    event.reason = textOf(object, kind == EventKind::Rejected ? "broken" : "reason");
    event.rule = textOf(object, "rule");
    event.history = historyOf(object.value(QLatin1String("history")).toArray());
    return event;
}

QByteArray lineOf(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

std::optional<WorkerLine> readWorkerLine(const QByteArray &line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    const auto kind = eventFromName(textOf(object, "event"));
    if (!kind) {
        return std::nullopt;
    }
    WorkerLine read;
    read.event = eventOf(*kind, object);
    read.ticket = read.event.id.toULongLong();
    if (*kind == EventKind::LinkStateChanged) {
        read.event.link = linkOf(object, read.event);
    }
    const QJsonValue counters = object.value(QLatin1String("counters"));
    if (counters.isObject()) {
        read.counters = countersOf(counters.toObject());
    }
    return read;
}

model_Protocoldata recordOf(const Event &event)
{
    model_Protocoldata record;
    const auto size = std::min<qsizetype>(event.head.size(), sizeof(record.ucHead));
    std::copy_n(event.head.begin(), size, std::begin(record.ucHead));
    record.baData = event.data;
    record.iWaitTime = event.waitMs.value_or(0);
    return record;
}

CommandResult resultOf(const Event &event, Outcome outcome)
{
    CommandResult result;
    result.outcome = outcome;
    result.attempts = event.attempts.value_or(0);
    if (outcome == Outcome::Answered) {
        result.reply = recordOf(event);
    }
    result.roundTripMs = event.roundTripMs.value_or(result.roundTripMs);
    result.reason = event.reason;
    result.history = event.history;
    return result;
}

QByteArray commandLine(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options)
{
    const QByteArray head(reinterpret_cast<const char *>(command.ucHead) + stampedHeadBytes,
                          static_cast<int>(sizeof(command.ucHead)) - stampedHeadBytes);
    QJsonObject object{{QStringLiteral("do"), QStringLiteral("command")},
                       {QStringLiteral("id"), QString::number(ticket)},
                       {QStringLiteral("head"), wire::hexText(head)}};
    if (!command.baData.isEmpty()) {
        object.insert(QStringLiteral("data"), wire::hexText(command.baData));
    }
    if (command.iWaitTime > 0) {
        object.insert(QStringLiteral("waitMs"), command.iWaitTime);
    }
    if (options.validFor.count() > 0) {
        object.insert(QStringLiteral("validForMs"), static_cast<qint64>(options.validFor.count()));
    }
    if (!options.replaceKey.isEmpty()) {
        object.insert(QStringLiteral("replaceKey"), options.replaceKey);
    }
    if (options.urgent) {
        object.insert(QStringLiteral("urgent"), true);
    }
    return lineOf(object);
}

QByteArray cancelLine(Ticket ticket)
{
    return lineOf({{QStringLiteral("do"), QStringLiteral("cancel")}, {QStringLiteral("id"), QString::number(ticket)}});
}

QByteArray clearLine()
{
    return QByteArrayLiteral("{\"do\":\"clear\"}\n");
}

} // namespace biz::host
