#include <biz_simulator/options.h>

#include <limits>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>

#include <biz_simulator/fault_script.h>
#include <host/biz_osdhost.h>
#include <host/device_link.h>
#include <host/reply_words.h>

namespace biz::simulator {

namespace {

constexpr int largestPort = 0xFFFF;
constexpr int largestDelayMs = 3'600'000;
constexpr quint32 lastLoopbackAddress = 0x7FFFFFFE; // 127.255.255.255 is a broadcast address

QStringList modelNames()
{
    QStringList names;
    for (const host::CheckedModel &model : host::checkedModels()) {
        names << model.name;
    }
    return names;
}

void addDeviceOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {QStringLiteral("model"),
         QStringLiteral("Play a device of this model on TCP: %1.").arg(modelNames().join(QStringLiteral(", "))),
         QStringLiteral("MODEL")},
        {QStringLiteral("port"),
         QStringLiteral("Port of the TCP device, or without one of the OSD devices; 0 takes a free port and prints "
                        "it. Default: %1, OSD devices %2.")
             .arg(host::defaultTcpPort)
             .arg(biz_OsdHost::defaultPort),
         QStringLiteral("PORT")},
        {QStringLiteral("bind"), QStringLiteral("Address of the TCP device. Default: 127.0.0.1."),
         QStringLiteral("ADDRESS"), QStringLiteral("127.0.0.1")},
        {QStringLiteral("osd"), QStringLiteral("Play N OSD devices on UDP, one loopback address each."),
         QStringLiteral("N")},
        {QStringLiteral("osd-first"), QStringLiteral("Address of the first OSD device. Default: 127.1.0.1."),
         QStringLiteral("ADDRESS"), QStringLiteral("127.1.0.1")},
        {QStringLiteral("osd-port"), QStringLiteral("Port of the OSD devices beside a TCP device."),
         QStringLiteral("PORT")},
        {QStringLiteral("osd-silent"), QStringLiteral("The last N OSD devices never answer."), QStringLiteral("N")},
        {QStringLiteral("osd-silent-list"), QStringLiteral("These OSD devices never answer."),
         QStringLiteral("ADDRESS,...")},
    });
}

void addFaultOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {QStringLiteral("delay"), QStringLiteral("Time from a command to its reply. Default: 0."), QStringLiteral("MS"),
         QStringLiteral("0")},
        {QStringLiteral("late-by"),
         QStringLiteral("Time from a command to a late reply; choose more than the host waits. Default: 1000."),
         QStringLiteral("MS"), QStringLiteral("1000")},
        {QStringLiteral("fault"),
         QStringLiteral("A fault for the N-th command of the TCP device (a resend counts), or instead of N for all "
                        "commands of a code (F1/08) or of an OSD device (its address). May be repeated. Kinds: %1.")
             .arg(faultNames().join(QStringLiteral(", "))),
         QStringLiteral("N=KIND")},
        {QStringLiteral("script"), QStringLiteral("A JSON file of faults; its entries come after those of --fault."),
         QStringLiteral("FILE")},
        {QStringLiteral("fault-rate"),
         QStringLiteral("A fault that strikes each command with probability P. May be repeated."),
         QStringLiteral("KIND=P")},
        {QStringLiteral("seed"), QStringLiteral("Seed of --fault-rate; the same seed gives the same run. Default: 1."),
         QStringLiteral("NUMBER"), QStringLiteral("1")},
        {QStringLiteral("events"), QStringLiteral("Print a line for each event.")},
    });
}

/** Turns a parsed command line into options. The first error is kept; later steps change nothing then. */
class OptionReader
{
public:
    explicit OptionReader(const QCommandLineParser &parser)
        : m_parser(parser)
    {
    }

    Options read()
    {
        if (!m_parser.positionalArguments().isEmpty()) {
            fail(QStringLiteral("\"%1\": unexpected; expected options only")
                     .arg(m_parser.positionalArguments().constFirst()));
        }
        readModel();
        readOsdDevices();
        readPorts();
        readTimes();
        readFaults();
        readSilentDevices();
        checkScriptedDevices();
        m_options.events = m_parser.isSet(QStringLiteral("events"));
        return m_options;
    }

    QString error() const { return m_error; }

private:
    void fail(const QString &message)
    {
        if (m_error.isEmpty()) {
            m_error = message;
        }
    }

    void failOption(const QString &option, const QString &message)
    {
        fail(QStringLiteral("--%1: %2").arg(option, message));
    }

    qint64 number(const QString &option, qint64 least, qint64 most)
    {
        bool isNumber = false;
        const QString text = m_parser.value(option);
        const qint64 value = text.toLongLong(&isNumber);
        if (!isNumber || value < least || value > most) {
            failOption(option, QStringLiteral("\"%1\": expected a number from %2 to %3")
                                   .arg(text, QString::number(least), QString::number(most)));
            return least;
        }
        return value;
    }

    void readModel()
    {
        const QString option = QStringLiteral("model");
        if (!m_parser.isSet(option)) {
            if (!m_parser.isSet(QStringLiteral("osd"))) {
                fail(QStringLiteral("nothing to play; expected --model or --osd"));
            }
            return;
        }
        const QString wanted = m_parser.value(option);
        for (const host::CheckedModel &model : host::checkedModels()) {
            if (model.name.compare(wanted, Qt::CaseInsensitive) == 0) {
                m_options.model = rules::modelOfDeviceType(model.deviceType);
                m_options.modelName = model.name;
            }
        }
        if (!m_options.model) {
            failOption(option, QStringLiteral("\"%1\" is no model: expected one of %2")
                                   .arg(wanted, modelNames().join(QStringLiteral(", "))));
        }
        readBindAddress();
    }

    void readBindAddress()
    {
        const QString option = QStringLiteral("bind");
        if (!m_options.bindAddress.setAddress(m_parser.value(option))) {
            failOption(option, QStringLiteral("\"%1\": expected an IP address").arg(m_parser.value(option)));
        }
    }

    void readOsdDevices()
    {
        const QString option = QStringLiteral("osd-first");
        const QHostAddress first(m_parser.value(option));
        if (first.protocol() != QAbstractSocket::IPv4Protocol || !first.isLoopback()) {
            failOption(option, QStringLiteral("\"%1\": expected an address from 127.0.0.0 to 127.255.255.254")
                                   .arg(m_parser.value(option)));
            return;
        }
        m_options.osdFirst = first.toIPv4Address();
        if (m_parser.isSet(QStringLiteral("osd"))) {
            const qint64 room = qint64{lastLoopbackAddress} - m_options.osdFirst + 1;
            m_options.osdCount = static_cast<int>(number(QStringLiteral("osd"), 1, room));
        }
    }

    void readPorts()
    {
        const QString port = QStringLiteral("port");
        const QString osdPort = QStringLiteral("osd-port");
        m_options.port = host::defaultTcpPort;
        m_options.osdPort = biz_OsdHost::defaultPort;
        if (m_parser.isSet(port)) {
            quint16 &target = m_options.model ? m_options.port : m_options.osdPort;
            target = static_cast<quint16>(number(port, 0, largestPort));
        }
        if (m_parser.isSet(osdPort)) {
            m_options.osdPort = static_cast<quint16>(number(osdPort, 0, largestPort));
        }
    }

    void readTimes()
    {
        m_options.delayMs = static_cast<int>(number(QStringLiteral("delay"), 0, largestDelayMs));
        m_options.faults.lateByMs = static_cast<int>(number(QStringLiteral("late-by"), 0, largestDelayMs));
    }

    void readFaults()
    {
        QString error;
        for (const QString &text : m_parser.values(QStringLiteral("fault"))) {
            ScriptEntry entry;
            if (!readFaultOption(text, &entry, &error)) {
                failOption(QStringLiteral("fault"), error);
            }
            m_options.faults.script.append(entry);
        }
        for (const QString &text : m_parser.values(QStringLiteral("fault-rate"))) {
            FaultRate rate;
            if (!readFaultRate(text, &rate, &error)) {
                failOption(QStringLiteral("fault-rate"), error);
            }
            m_options.faults.rates.append(rate);
        }
        m_options.faults.seed =
            static_cast<quint32>(number(QStringLiteral("seed"), 0, std::numeric_limits<quint32>::max()));
        readScript();
    }

    void readScript()
    {
        const QString option = QStringLiteral("script");
        if (!m_parser.isSet(option)) {
            return;
        }
        const QString name = m_parser.value(option);
        QFile file(name);
        QString error;
        if (!file.open(QIODevice::ReadOnly)) {
            failOption(option, QStringLiteral("%1: %2; expected a readable file").arg(name, file.errorString()));
        } else if (!readFaultScript(file.readAll(), &m_options.faults.script, &error)) {
            failOption(option, QStringLiteral("%1: %2").arg(name, error));
        }
    }

    void readSilentDevices()
    {
        const QString count = QStringLiteral("osd-silent");
        if (m_parser.isSet(count)) {
            const auto silent = static_cast<int>(number(count, 0, m_options.osdCount));
            for (int i = m_options.osdCount - silent; i < m_options.osdCount; ++i) {
                silence(QHostAddress(m_options.osdFirst + static_cast<quint32>(i)).toString());
            }
        }
        const QString list = QStringLiteral("osd-silent-list");
        if (m_parser.isSet(list)) {
            for (const QString &address : m_parser.value(list).split(QLatin1Char(','))) {
                silence(address);
            }
        }
    }

    void silence(const QString &address)
    {
        ScriptEntry entry;
        entry.device = address;
        entry.fault = FaultKind::Silence;
        m_options.faults.script.append(entry);
    }

    void checkScriptedDevices()
    {
        for (const ScriptEntry &entry : m_options.faults.script) {
            if (!entry.device.isEmpty() && !isPlayed(entry.device)) {
                fail(QStringLiteral("\"%1\" is none of the OSD devices; expected an address that --osd plays")
                         .arg(entry.device));
            }
            if (entry.device.isEmpty() && !m_options.model) {
                fail(QStringLiteral("a fault by number or code is for a TCP device; expected --model"));
            }
        }
    }

    bool isPlayed(const QString &text) const
    {
        const QHostAddress address(text);
        const qint64 place = qint64{address.toIPv4Address()} - m_options.osdFirst;
        return place >= 0 && place < m_options.osdCount && address.toString() == text;
    }

    const QCommandLineParser &m_parser;
    Options m_options;
    QString m_error;
};

} // namespace

CommandLine readCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays display devices: one of a checked model on TCP, any number of OSD devices on UDP.\n"
                       "Ends on SIGINT and SIGTERM, with a summary. Exit status: 0, 2 for bad usage, 3 when an\n"
                       "address cannot be bound."));
    addDeviceOptions(parser);
    addFaultOptions(parser);
    // Qt's own help option would bring one for all its options along.
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Print the version."));
    parser.addOptions({help, version});

    CommandLine line;
    if (!parser.parse(arguments)) {
        line.error = parser.errorText() + QStringLiteral(" Expected the options that --help lists.");
    } else if (parser.isSet(help)) {
        line.text = parser.helpText();
    } else if (parser.isSet(version)) {
        line.text = QStringLiteral("biz_simulator %1\n").arg(QStringLiteral(BIZ_VERSION));
    } else {
        OptionReader reader(parser);
        line.options = reader.read();
        line.error = reader.error();
    }
    return line;
}

} // namespace biz::simulator
