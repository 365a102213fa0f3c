#include <biz_simulator/options/fault_script.h>

#include <climits>

#include <QtCore/QRegularExpression>
#include <QtNetwork/QHostAddress>

#include <biz_simulator/devices/settings.h>

namespace biz::simulator {

using tools::ObjectReader;

namespace {

QString expectedFaults()
{
    return QStringLiteral("expected one of ") + faultNames().join(QStringLiteral(", "));
}

bool readFault(const QString &text, FaultKind *fault, QString *error)
{
    const auto kind = faultFromName(text);
    if (!kind) {
        *error = QStringLiteral("\"%1\" is no fault: %2").arg(text, expectedFaults());
        return false;
    }
    *fault = *kind;
    return true;
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
        entry->code = codeFromText(reader.text("command"));
        if (!entry->code) {
            reader.fail("command",
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
    entry->device = reader.text("device");
    if (!isDeviceAddress(entry->device)) {
        reader.fail("device", QStringLiteral("an address like \"127.1.0.3\" expected, not ") +
                                  tools::shown(reader.value("device")));
    }
    if (entry->code) {
        reader.fail("device", QStringLiteral("no \"command\" beside it expected: OSD commands carry no code"));
    }
}

ScriptEntry readEntry(const QJsonValue &value, const QString &place)
{
    const ObjectReader reader(
        value, place,
        {"reception", "command", "device", "times", "fault", "lateBy", "vanishFor", "burstSize", "outageFor"});
    ScriptEntry entry;
    entry.reception = reader.integerIfAny("reception", 1, INT_MAX);
    entry.times = reader.integer("times", 1, INT_MAX, 0);
    entry.lateByMs = reader.integerIfAny("lateBy", 0, longestTimeMs);
    entry.vanishForMs = reader.integerIfAny("vanishFor", 0, longestTimeMs);
    entry.burstSize = reader.integerIfAny("burstSize", 1, largestBurst);
    entry.outageForMs = reader.integerIfAny("outageFor", 0, longestTimeMs);
    readCommand(reader, &entry);
    readDevice(reader, &entry);
    QString error;
    if (!reader.value("fault").isString()) {
        reader.fail("fault", expectedFaults());
    }
    if (!readFault(reader.text("fault"), &entry.fault, &error)) {
        reader.fail("fault", error);
    }
    return entry;
}

bool splitAssignment(const QString &text, QString *left, QString *right)
{
    const int equals = text.indexOf(QLatin1Char('='));
    *left = text.left(equals);
    *right = text.mid(equals + 1);
    return equals > 0;
}

} // namespace

QVector<ScriptEntry> readFaultScript(const QByteArray &json)
{
    const ObjectReader reader(tools::parseJson(json), {}, {"faults"});
    if (!reader.has("faults")) {
        reader.fail("faults", QStringLiteral("an array of faults expected, not nothing"));
    }
    return readFaultEntries(reader);
}

QVector<ScriptEntry> readFaultEntries(const tools::ObjectReader &reader)
{
    QVector<ScriptEntry> entries;
    const QJsonArray faults = reader.array("faults", "faults");
    for (int i = 0; i < faults.size(); ++i) {
        entries.append(readEntry(faults.at(i), tools::elementPlace(reader.placeOf("faults"), i)));
    }
    return entries;
}

QVector<FaultRate> readFaultRates(const tools::ObjectReader &reader)
{
    QVector<FaultRate> rates;
    if (!reader.has("rates")) {
        return rates;
    }
    const ObjectReader members(reader.value("rates"), reader.placeOf("rates"), faultNames());
    for (const QString &name : faultNames()) {
        const QByteArray key = name.toLatin1();
        if (members.has(key.constData())) {
            rates.append({*faultFromName(name), members.probability(key.constData())});
        }
    }
    return rates;
}

bool readFaultOption(const QString &text, ScriptEntry *entry, QString *error)
{
    QString selector;
    QString fault;
    if (!splitAssignment(text, &selector, &fault)) {
        *error = QStringLiteral("\"%1\": expected N=KIND, F1/08=KIND or ADDRESS=KIND").arg(text);
        return false;
    }
    bool isNumber = false;
    const int reception = selector.toInt(&isNumber);
    if (isNumber && reception >= 1) {
        entry->reception = reception;
    } else if (const auto code = codeFromText(selector)) {
        entry->code = code;
    } else if (isDeviceAddress(selector)) {
        entry->device = selector;
    } else {
        *error = QStringLiteral("\"%1\": expected a number from 1, a command like F1/08 or an address").arg(selector);
        return false;
    }
    return readFault(fault, &entry->fault, error);
}

bool readFaultRate(const QString &text, FaultRate *rate, QString *error)
{
    QString fault;
    QString probability;
    bool isNumber = false;
    if (splitAssignment(text, &fault, &probability)) {
        rate->probability = probability.toDouble(&isNumber);
    }
    if (!isNumber || !(rate->probability >= 0.0 && rate->probability <= 1.0)) {
        *error = QStringLiteral("\"%1\": expected KIND=P with a probability from 0 to 1").arg(text);
        return false;
    }
    return readFault(fault, &rate->fault, error);
}

} // namespace biz::simulator
