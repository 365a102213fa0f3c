#include <biz_simulator/fault_script.h>

#include <limits>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtNetwork/QHostAddress>

namespace biz::simulator {

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

/** One entry of a script. The first thing that is wrong is kept in `error`. */
class EntryReader
{
public:
    EntryReader(const QJsonObject &object, const QString &place)
        : m_object(object)
        , m_place(place)
    {
    }

    ScriptEntry read()
    {
        refuseOtherKeys({QStringLiteral("reception"), QStringLiteral("command"), QStringLiteral("device"),
                         QStringLiteral("times"), QStringLiteral("fault"), QStringLiteral("lateBy")});
        ScriptEntry entry;
        entry.reception = number(QStringLiteral("reception"), 1);
        entry.times = number(QStringLiteral("times"), 1).value_or(0);
        entry.lateByMs = number(QStringLiteral("lateBy"), 0);
        readCommand(&entry);
        readDevice(&entry);
        readFaultOf(&entry);
        return entry;
    }

    QString error() const { return m_error; }

private:
    void fail(const QString &key, const QString &message)
    {
        if (m_error.isEmpty()) {
            m_error = QStringLiteral("%1.%2: %3").arg(m_place, key, message);
        }
    }

    void refuseOtherKeys(const QStringList &known)
    {
        for (const QString &key : m_object.keys()) {
            if (!known.contains(key)) {
                fail(key, QStringLiteral("unknown; expected ") + known.join(QStringLiteral(", ")));
            }
        }
    }

    std::optional<int> number(const QString &key, int least)
    {
        const QJsonValue value = m_object.value(key);
        if (value.isUndefined()) {
            return std::nullopt;
        }
        const int number = value.toInt(least - 1); // a fraction or a text yields the default
        if (number < least) {
            fail(key, QStringLiteral("expected a whole number from %1").arg(least));
            return std::nullopt;
        }
        return number;
    }

    void readCommand(ScriptEntry *entry)
    {
        const QString key = QStringLiteral("command");
        if (m_object.contains(key)) {
            entry->code = codeFromText(m_object.value(key).toString());
            if (!entry->code) {
                fail(key, QStringLiteral("expected command and sub-code in hexadecimal, like \"F1/08\""));
            }
        }
    }

    void readDevice(ScriptEntry *entry)
    {
        const QString key = QStringLiteral("device");
        if (m_object.contains(key)) {
            entry->device = m_object.value(key).toString();
            if (!isDeviceAddress(entry->device)) {
                fail(key, QStringLiteral("expected an address like \"127.1.0.3\""));
            } else if (entry->code) {
                fail(key, QStringLiteral("expected no \"command\" beside it: OSD commands carry no code"));
            }
        }
    }

    void readFaultOf(ScriptEntry *entry)
    {
        const QString key = QStringLiteral("fault");
        QString message;
        if (!m_object.value(key).isString()) {
            fail(key, expectedFaults());
        } else if (!readFault(m_object.value(key).toString(), &entry->fault, &message)) {
            fail(key, message);
        }
    }

    QJsonObject m_object;
    QString m_place;
    QString m_error;
};

bool splitAssignment(const QString &text, QString *left, QString *right)
{
    const int equals = text.indexOf(QLatin1Char('='));
    *left = text.left(equals);
    *right = text.mid(equals + 1);
    return equals > 0;
}

} // namespace

bool readFaultScript(const QByteArray &json, QVector<ScriptEntry> *entries, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull()) {
        const auto line = json.left(parseError.offset).count('\n') + 1;
        *error = QStringLiteral("line %1: %2; expected a JSON document")
                     .arg(QString::number(line), parseError.errorString());
        return false;
    }
    const QJsonValue faults = document.object().value(QStringLiteral("faults"));
    if (!faults.isArray()) {
        *error = QStringLiteral("faults: expected an object with a list of this name");
        return false;
    }
    int place = 0;
    const QJsonArray list = faults.toArray();
    for (const QJsonValue &value : list) {
        EntryReader reader(value.toObject(), QStringLiteral("faults[%1]").arg(place++));
        entries->append(reader.read());
        if (!reader.error().isEmpty()) {
            *error = reader.error();
            return false;
        }
    }
    return true;
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
