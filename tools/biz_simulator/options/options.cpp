#include <biz_simulator/options/options.h>

#include <algorithm>
#include <limits>

#include <QtCore/QCommandLineParser>

#include <biz_simulator/options/device_file.h>
#include <biz_simulator/options/fault_script.h>
#include <common/errors.h>
#include <common/files/input_file.h>
#include <common/option_errors.h>
#include <recording/recorded_devices.h>

namespace biz::simulator {

namespace {

void addDeviceOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {QStringLiteral("model"),
         QStringLiteral("Play a device of this model: %1.").arg(modelNames().join(QStringLiteral(", "))),
         QStringLiteral("MODEL")},
        {QStringLiteral("listen"),
         QStringLiteral("Where that device waits for hosts: tcp://ADDRESS[:PORT], udp://ADDRESS[:PORT], serial: for a "
                        "pseudo-terminal, whose name is printed, or serial:///PATH to name it by a symbolic link. Port "
                        "0 takes a free one and prints it. Default: tcp://127.0.0.1:%1.")
             .arg(host::defaultTcpPort),
         QStringLiteral("URL")},
        {QStringLiteral("port"),
         QStringLiteral("Port of the device on TCP, or without --model of the OSD devices; 0 takes a free port and "
                        "prints it. Default: %1, OSD devices %2.")
             .arg(host::defaultTcpPort)
             .arg(host::OsdHost::defaultPort),
         QStringLiteral("PORT")},
        {QStringLiteral("one-client"),
         QStringLiteral("The device on TCP refuses a second connection while it has one.")},
        {QStringLiteral("bind"), QStringLiteral("Address of the device on TCP. Default: 127.0.0.1."),
         QStringLiteral("ADDRESS")},
        {QStringLiteral("osd"), QStringLiteral("Play N OSD devices on UDP, one loopback address each."),
         QStringLiteral("N")},
        {QStringLiteral("osd-first"), QStringLiteral("Address of the first OSD device. Default: 127.1.0.1."),
         QStringLiteral("ADDRESS"), QStringLiteral("127.1.0.1")},
        {QStringLiteral("osd-port"), QStringLiteral("Port of the OSD devices beside --model."), QStringLiteral("PORT")},
        {QStringLiteral("osd-silent"), QStringLiteral("The last N OSD devices never answer."), QStringLiteral("N")},
        {QStringLiteral("osd-silent-list"), QStringLiteral("These OSD devices never answer."),
         QStringLiteral("ADDRESS,...")},
        {QStringLiteral("from"),
         QStringLiteral("Play the devices of a recording that 'biz_console run' or 'biz_console osd' made with "
                        "--record, in place of --model or --osd: each command is answered as it was, after the same "
                        "time."),
         QStringLiteral("FILE")},
        {QStringLiteral("config"),
         QStringLiteral(
             "A JSON file that describes any number of devices; only --seed and --events may stand beside it."),
         QStringLiteral("FILE")},
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
        {QStringLiteral("vanish-for"),
         QStringLiteral("How long nothing listens at the address of a device that vanishes. Default: 2000."),
         QStringLiteral("MS"), QStringLiteral("2000")},
        {QStringLiteral("outage-for"),
         QStringLiteral("How long a device that stalls reads nothing, or one in a blackout answers nothing. Default: "
                        "2000."),
         QStringLiteral("MS"), QStringLiteral("2000")},
        {QStringLiteral("burst-size"), QStringLiteral("Replies in a burst that nobody asked for. Default: 50."),
         QStringLiteral("N"), QStringLiteral("50")},
        {QStringLiteral("fault"),
         QStringLiteral("A fault for the N-th command of the device (a resend counts), or instead of N for all "
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

/** Turns a parsed command line into options. */
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
        m_options.events = m_parser.isSet(QStringLiteral("events"));
        if (m_parser.isSet(QStringLiteral("config"))) {
            readConfig();
        } else {
            readDevices();
        }
        return m_options;
    }

private:
    [[noreturn]] static void fail(const QString &message) { throw tools::UsageError(message); }

    [[noreturn]] static void failOption(const QString &option, const QString &message)
    {
        fail(QStringLiteral("--%1: %2").arg(option, message));
    }

    /** An error of `read` is one of the option. */
    template<typename Read>
    static void readOption(const QString &option, Read read)
    {
        try {
            read();
        } catch (const tools::UsageError &error) {
            failOption(option, error.text());
        }
    }

    qint64 number(const QString &option, qint64 least, qint64 most)
    {
        bool isNumber = false;
        const QString text = m_parser.value(option);
        const qint64 value = text.toLongLong(&isNumber);
        if (!isNumber || value < least || value > most) {
            failOption(option, QStringLiteral("\"%1\": expected a number from %2 to %3")
                                   .arg(text, QString::number(least), QString::number(most)));
        }
        return value;
    }

    void readConfig()
    {
        const QString option = QStringLiteral("config");
        const QStringList others{option, QStringLiteral("seed"), QStringLiteral("events")};
        for (const QString &name : m_parser.optionNames()) {
            if (!others.contains(name)) {
                failOption(name, QStringLiteral("expected in the file of --config, not beside it"));
            }
        }
        m_options.settings = readDeviceFile(tools::readInputFile(m_parser.value(option)));
        if (m_parser.isSet(QStringLiteral("seed"))) {
            replaceSeed(readSeed());
        }
    }

    void replaceSeed(quint32 seed)
    {
        m_options.settings.seed = seed;
        for (ListeningDevice &device : m_options.settings.devices) {
            device.faults.seed = seed;
        }
        for (OsdSettings &group : m_options.settings.osdGroups) {
            group.faults.seed = seed;
        }
    }

    void readDevices()
    {
        readRecording();
        const bool hasModel = m_parser.isSet(QStringLiteral("model")) || m_device.recorded;
        const bool hasOsd = m_parser.isSet(QStringLiteral("osd")) || !m_group.recorded.isEmpty();
        if (!hasModel && !hasOsd) {
            fail(QStringLiteral("nothing to play; expected --model, --osd, --from or --config"));
        }
        if (hasModel) {
            readDeviceModel();
            readListenAddress();
        } else {
            needBeside(QStringLiteral("model"),
                       {QStringLiteral("listen"), QStringLiteral("bind"), QStringLiteral("one-client")});
        }
        if (!hasOsd) {
            needBeside(QStringLiteral("osd"), {QStringLiteral("osd-first"), QStringLiteral("osd-port"),
                                               QStringLiteral("osd-silent"), QStringLiteral("osd-silent-list")});
        }
        readOsdDevices();
        readOsdPort(hasModel);
        const auto delayMs = static_cast<int>(number(QStringLiteral("delay"), 0, longestTimeMs));
        m_device.delayMs = delayMs;
        m_group.delayMs = delayMs;
        readFaults();
        shareFaults(hasModel, hasOsd);
    }

    void readRecording()
    {
        const QString option = QStringLiteral("from");
        if (!m_parser.isSet(option)) {
            return;
        }
        for (const QString &other : {QStringLiteral("model"), QStringLiteral("osd"), QStringLiteral("delay")}) {
            if (m_parser.isSet(other)) {
                failOption(other, QStringLiteral("not expected beside --from: the recording says it"));
            }
        }
        const tools::RecordedDevices recording = tools::readRecordedDevices(m_parser.value(option));
        if (recording.isOfDevice) {
            m_device.model = rules::modelOfDeviceType(recording.deviceType).value_or(m_device.model);
            m_device.name = QStringLiteral("recorded device");
            m_device.recorded = std::make_shared<tools::RecordedDevice>(recording.devices.constFirst());
        } else {
            readRecordedOsd(recording.devices);
        }
    }

    /** Devices of other networks are played on a row of loopback addresses, in the order of their first command. */
    void readRecordedOsd(QVector<tools::RecordedDevice> devices)
    {
        const auto isPlayable = [](const tools::RecordedDevice &device) {
            const QHostAddress address(device.address);
            return address.protocol() == QAbstractSocket::IPv4Protocol && address.isLoopback();
        };
        if (!std::all_of(devices.begin(), devices.end(), isPlayable)) {
            quint32 next = readFirstOsdAddress(m_parser.value(QStringLiteral("osd-first")));
            for (tools::RecordedDevice &device : devices) {
                m_group.recordedAddresses.append(device.address);
                device.address = QHostAddress(next++).toString();
            }
        }
        m_group.play(devices);
        m_group.name = QStringLiteral("%1 recorded OSD devices").arg(m_group.count);
    }

    /** An option that would change nothing is refused: whoever gave it believes that it does. */
    void needBeside(const QString &needed, const QStringList &options)
    {
        for (const QString &option : options) {
            if (m_parser.isSet(option)) {
                failOption(option, QStringLiteral("expected --%1 beside it").arg(needed));
            }
        }
    }

    void readDeviceModel()
    {
        const QString option = QStringLiteral("model");
        if (m_device.recorded) {
            return;
        }
        readOption(option, [&] {
            const NamedModel model = readModel(m_parser.value(option));
            m_device.model = model.model;
            m_device.name = model.name;
        });
    }

    void readListenAddress()
    {
        const QString listen = QStringLiteral("listen");
        const QString port = QStringLiteral("port");
        const QString bind = QStringLiteral("bind");
        ListenAddress &address = m_device.listen;
        if (m_parser.isSet(listen)) {
            readOption(listen, [&] { address = readListenUrl(m_parser.value(listen)); });
            for (const QString &other : {port, bind}) {
                if (m_parser.isSet(other)) {
                    failOption(other, QStringLiteral("expected in the URL of --listen, not beside it"));
                }
            }
        } else if (m_parser.isSet(port)) {
            address.port = static_cast<quint16>(number(port, 0, largestPort));
        }
        if (m_parser.isSet(bind) && !address.host.setAddress(m_parser.value(bind))) {
            failOption(bind, QStringLiteral("\"%1\": expected an IP address").arg(m_parser.value(bind)));
        }
        address.oneClient = m_parser.isSet(QStringLiteral("one-client"));
        if (address.oneClient && address.scheme != Scheme::Tcp) {
            failOption(QStringLiteral("one-client"), QStringLiteral("expected of a device on TCP only"));
        }
        m_device.label = schemeName(address.scheme);
    }

    void readOsdDevices()
    {
        const QString option = QStringLiteral("osd-first");
        readOption(option, [&] { m_group.first = readFirstOsdAddress(m_parser.value(option)); });
        if (m_parser.isSet(QStringLiteral("osd"))) {
            const qint64 room = qint64{lastLoopbackAddress} - m_group.first + 1;
            m_group.count = static_cast<int>(number(QStringLiteral("osd"), 1, room));
            m_group.name = QStringLiteral("%1 OSD devices").arg(m_group.count);
        }
    }

    void readOsdPort(bool hasModel)
    {
        const QString port = QStringLiteral("port");
        const QString osdPort = QStringLiteral("osd-port");
        for (const QString &option : hasModel ? QStringList{osdPort} : QStringList{port, osdPort}) {
            if (m_parser.isSet(option)) {
                m_group.port = static_cast<quint16>(number(option, 0, largestPort));
            }
        }
    }

    void readFaults()
    {
        readMeasures();
        for (const QString &text : m_parser.values(QStringLiteral("fault"))) {
            readOption(QStringLiteral("fault"), [&] { m_faults.script.append(readFaultOption(text)); });
        }
        for (const QString &text : m_parser.values(QStringLiteral("fault-rate"))) {
            readOption(QStringLiteral("fault-rate"), [&] { m_faults.rates.append(readFaultRate(text)); });
        }
        m_faults.seed = readSeed();
        m_options.settings.seed = m_faults.seed;
        readScript();
        requireFaultOf(QStringLiteral("late-by"), {FaultKind::Late});
        requireFaultOf(QStringLiteral("vanish-for"), {FaultKind::Vanish});
        requireFaultOf(QStringLiteral("outage-for"), {FaultKind::Stall, FaultKind::Blackout});
        requireFaultOf(QStringLiteral("burst-size"), {FaultKind::Burst});
        readSilentDevices();
    }

    /** A measure of faults that nothing asks for would change nothing. */
    void requireFaultOf(const QString &measure, const QVector<FaultKind> &kinds) const
    {
        const auto isMeasured = [&kinds](const auto &entry) {
            return kinds.contains(entry.fault);
        };
        const bool isUsed = std::any_of(m_faults.script.begin(), m_faults.script.end(), isMeasured) ||
                            std::any_of(m_faults.rates.begin(), m_faults.rates.end(), isMeasured);
        if (m_parser.isSet(measure) && !isUsed) {
            QStringList names;
            for (const FaultKind kind : kinds) {
                names.append(faultName(kind));
            }
            failOption(measure, QStringLiteral("expected --fault, --fault-rate or --script with %1 beside it")
                                    .arg(names.join(QStringLiteral(" or "))));
        }
    }

    void readMeasures()
    {
        FaultMeasures &measures = m_faults.measures;
        measures.lateByMs = static_cast<int>(number(QStringLiteral("late-by"), 0, longestTimeMs));
        measures.vanishForMs = static_cast<int>(number(QStringLiteral("vanish-for"), 0, longestTimeMs));
        measures.outageForMs = static_cast<int>(number(QStringLiteral("outage-for"), 0, longestTimeMs));
        measures.burstSize = static_cast<int>(number(QStringLiteral("burst-size"), 1, largestBurst));
    }

    quint32 readSeed()
    {
        return static_cast<quint32>(number(QStringLiteral("seed"), 0, std::numeric_limits<quint32>::max()));
    }

    void readScript()
    {
        const QString option = QStringLiteral("script");
        if (m_parser.isSet(option)) {
            m_faults.script += readFaultScript(tools::readInputFile(m_parser.value(option)));
        }
    }

    void readSilentDevices()
    {
        const QString count = QStringLiteral("osd-silent");
        if (m_parser.isSet(count)) {
            const auto silent = static_cast<int>(number(count, 0, m_group.count));
            for (int i = m_group.count - silent; i < m_group.count; ++i) {
                silence(m_group.addressAt(i).toString());
            }
        }
        const QString list = QStringLiteral("osd-silent-list");
        if (m_parser.isSet(list)) {
            for (const QString &address : m_parser.value(list).split(QLatin1Char(','))) {
                if (address.isEmpty()) {
                    failOption(list, QStringLiteral("an address expected between commas, not an empty one"));
                }
                silence(address);
            }
        }
    }

    void silence(const QString &address)
    {
        ScriptEntry entry;
        entry.device = address;
        entry.fault = FaultKind::Silence;
        m_faults.script.append(entry);
    }

    /** Gives the device and the OSD devices their faults: entries of a script name whom they concern, rates do not. */
    void shareFaults(bool hasModel, bool hasOsd)
    {
        m_device.faults = m_faults;
        m_group.faults = m_faults;
        m_device.faults.script.clear();
        m_group.faults.script.clear();
        for (const ScriptEntry &entry : qAsConst(m_faults.script)) {
            (entry.device.isEmpty() ? m_device.faults : m_group.faults).script.append(entry);
        }
        if (!hasModel && !m_device.faults.script.isEmpty()) {
            fail(QStringLiteral("a fault by number or code is for a device of the device channel; expected --model"));
        }
        if (!hasOsd && !m_group.faults.script.isEmpty()) {
            fail(QStringLiteral("\"%1\" is none of the OSD devices; expected an address that --osd plays")
                     .arg(m_group.faults.script.constFirst().device));
        }
        if (hasModel) {
            requirePossible(m_device.faults, m_device.listen.scheme);
            m_options.settings.devices.append(m_device);
        }
        if (hasOsd) {
            requirePossible(m_group);
            m_options.settings.osdGroups.append(m_group);
        }
    }

    const QCommandLineParser &m_parser;
    Options m_options;
    ListeningDevice m_device;
    OsdSettings m_group;
    FaultSettings m_faults;
};

} // namespace

CommandLine readCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Plays display devices: one of a checked model on TCP, UDP or a serial line, any number of OSD\n"
        "devices on UDP, those of a recording, or all that a file describes. Ends on SIGINT and SIGTERM, with a "
        "summary.\n"
        "Exit status: 0, 2 for bad usage, 3 when an address cannot be listened at, "
        "or the limit of open\n"
        "files is too low."));
    addDeviceOptions(parser);
    addFaultOptions(parser);
    // Qt's own help option would bring one for all its options along.
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Print the version."));
    parser.addOptions({help, version});

    CommandLine line;
    if (!parser.parse(arguments)) {
        throw tools::UsageError(tools::optionError(parser, arguments.mid(1)) +
                                QStringLiteral(" (expected: the options that --help lists)"));
    }
    if (parser.isSet(help)) {
        line.text = parser.helpText();
    } else if (parser.isSet(version)) {
        line.text = QStringLiteral("biz_simulator %1\n").arg(QStringLiteral(BIZ_VERSION));
    } else {
        line.options = OptionReader(parser).read();
    }
    return line;
}

} // namespace biz::simulator
