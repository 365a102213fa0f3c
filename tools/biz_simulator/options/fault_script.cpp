#include <biz_simulator/options/fault_script.h>

#include <climits>

#include <QtCore/QRegularExpression>
#include <QtNetwork/QHostAddress>

#include <biz_simulator/devices/settings.h>
#include <common/errors.h>
#include <common/shown_text.h>
#include <common/suggestion.h>

namespace biz::simulator {

using tools::JsonValue;
using tools::ObjectReader;

namespace {

QString expectedFaults()
{
    return QStringLiteral("expected one of ") + faultNames().join(QStringLiteral(", "));
}

QString noFault(const QString &text)
{
    return QStringLiteral("%1 is no fault: %2").arg(tools::quotedText(text), expectedFaults()) +
           tools::suggestionFor(text, faultNames());
}

std::optional<CommandCode> codeFromText(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^([0-9A-Fa-f]{2})/([0-9A-Fa-f]{2})$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return CommandCode{static_cast<quint8>(match.captured(1).toUInt(nullptr, 16)),
                       static_cast<quint8>(match.captured(2).toUInt(nullptr, 16))};
}

/** Whether the text is an IPv4 address in the one spelling by which devices are known. */
bool isDeviceAddress(const QString &text)
{
    QHostAddress address;
    return address.setAddress(text) && address.protocol() == QAbstractSocket::IPv4Protocol &&
           address.toString() == text;
}

void readCommand(const ObjectReader &reader, ScriptEntry *entry)
{
    if (reader.has("command")) {
        entry->code = codeFromText(reader.value("command").text);
        if (!entry->code) {
            reader.note("command",
                        QStringLiteral("command and sub-code in hexadecimal expected, like \"F1/08\", not ") +
                            tools::shown(reader.value("command")));
        }
    }
}

void readDevice(const ObjectReader &reader, ScriptEntry *entry)
{
    if (!reader.has("device")) {
        return;
    }
    entry->device = reader.value("device").text;
    if (!isDeviceAddress(entry->device)) {
        reader.note("device", QStringLiteral("an address like \"127.1.0.3\" expected, not ") +
                                  tools::shown(reader.value("device")));
    }
    if (entry->code) {
        reader.note("device", QStringLiteral("no \"command\" beside it expected: OSD commands carry no code"));
    }
}

void readFault(const ObjectReader &reader, ScriptEntry *entry)
{
    const JsonValue &fault = reader.value("fault");
    const auto kind = faultFromName(fault.text);
    if (kind) {
        entry->fault = *kind;
    } else if (fault.isText()) {
        reader.note("fault", noFault(fault.text));
    } else {
        reader.note("fault", expectedFaults());
    }
}

ScriptEntry readEntry(const ObjectReader &reader)
{
    ScriptEntry entry;
    entry.reception = reader.integerIfAny("reception", 1, INT_MAX);
    entry.times = reader.integer("times", 1, INT_MAX, 0);
    entry.lateByMs = reader.integerIfAny("lateBy", 0, longestTimeMs);
    entry.vanishForMs = reader.integerIfAny("vanishFor", 0, longestTimeMs);
    entry.burstSize = reader.integerIfAny("burstSize", 1, largestBurst);
    entry.outageForMs = reader.integerIfAny("outageFor", 0, longestTimeMs);
    readCommand(reader, &entry);
    readDevice(reader, &entry);
    readFault(reader, &entry);
    return entry;
}

/** The two sides of "LEFT=RIGHT"; none when one is missing. */
std::optional<std::pair<QString, QString>> splitAssignment(const QString &text)
{
    const auto equals = static_cast<int>(text.indexOf(QLatin1Char('=')));
    return equals > 0 ? std::optional(std::pair(text.left(equals), text.mid(equals + 1))) : std::nullopt;
}

FaultKind faultOf(const QString &name)
{
    const auto kind = faultFromName(name);
    if (!kind) {
        throw tools::UsageError(noFault(name));
    }
    return *kind;
}

} // namespace

QVector<ScriptEntry> readFaultScript(const tools::InputText &input)
{
    tools::JsonText text(input);
    const ObjectReader reader(text, {"faults"});
    if (!reader.has("faults")) {
        reader.note("faults", QStringLiteral("an array of faults expected, not nothing"));
    }
    QVector<ScriptEntry> entries = readFaultEntries(reader);
    text.requireGood();
    return entries;
}

QVector<ScriptEntry> readFaultEntries(const tools::ObjectReader &reader)
{
    static const QStringList keys{
        QStringLiteral("reception"), QStringLiteral("command"),   QStringLiteral("device"),
        QStringLiteral("times"),     QStringLiteral("fault"),     QStringLiteral("lateBy"),
        QStringLiteral("vanishFor"), QStringLiteral("burstSize"), QStringLiteral("outageFor")};
    QVector<ScriptEntry> entries;
    for (const tools::PlacedValue &entry : reader.array("faults", "faults")) {
        entries.append(readEntry({reader, entry, keys}));
    }
    return entries;
}

QVector<FaultRate> readFaultRates(const tools::ObjectReader &reader)
{
    QVector<FaultRate> rates;
    if (!reader.has("rates")) {
        return rates;
    }
    const ObjectReader members(reader, reader.placed("rates"), faultNames());
    for (const QString &name : faultNames()) {
        const QByteArray key = name.toLatin1();
        if (members.has(key.constData())) {
            rates.append({*faultFromName(name), members.probability(key.constData())});
        }
    }
    return rates;
}

ScriptEntry readFaultOption(const QString &text)
{
    const auto sides = splitAssignment(text);
    if (!sides) {
        throw tools::UsageError(
            QStringLiteral("%1: expected N=KIND, F1/08=KIND or ADDRESS=KIND").arg(tools::quotedText(text)));
    }
    const QString &selector = sides->first;
    ScriptEntry entry;
    bool isNumber = false;
    const int reception = selector.toInt(&isNumber);
    if (isNumber && reception >= 1) {
        entry.reception = reception;
    } else if (const auto code = codeFromText(selector)) {
        entry.code = code;
    } else if (isDeviceAddress(selector)) {
        entry.device = selector;
    } else {
        throw tools::UsageError(QStringLiteral("%1: expected a number from 1, a command like F1/08 or an address")
                                    .arg(tools::quotedText(selector)));
    }
    entry.fault = faultOf(sides->second);
    return entry;
}

FaultRate readFaultRate(const QString &text)
{
    FaultRate rate;
    bool isNumber = false;
    const auto sides = splitAssignment(text);
    if (sides) {
        rate.probability = sides->second.toDouble(&isNumber);
    }
    if (!isNumber || !(rate.probability >= 0.0 && rate.probability <= 1.0)) {
        throw tools::UsageError(
            QStringLiteral("%1: expected KIND=P with a probability from 0 to 1").arg(tools::quotedText(text)));
    }
    rate.fault = faultOf(sides->first);
    return rate;
}

} // namespace biz::simulator
