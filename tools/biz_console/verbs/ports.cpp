#include <biz_console/verbs/verbs.h>

#include <biz_console/cli/command_line.h>
#include <common/errors.h>
#include <common/shown_text.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtSerialPort/QSerialPortInfo>

namespace biz::console {

namespace {

QString urlOf(const QSerialPortInfo &port)
{
    return QStringLiteral("serial://") + port.systemLocation();
}

void printObject(QTextStream &out, const QSerialPortInfo &port)
{
    const QJsonObject object{{QStringLiteral("url"), urlOf(port)},
                             {QStringLiteral("description"), port.description()},
                             {QStringLiteral("manufacturer"), port.manufacturer()},
                             {QStringLiteral("serialNumber"), port.serialNumber()}};
    out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

void printLine(QTextStream &out, const QSerialPortInfo &port)
{
    constexpr int urlWidth = 28;
    QStringList words{port.description(), port.manufacturer(), port.serialNumber()};
    words.removeAll(QString());
    out << urlOf(port).leftJustified(words.isEmpty() ? 0 : urlWidth) << (words.isEmpty() ? "" : " ")
        << tools::shownText(words.join(QStringLiteral(", "))) << '\n';
}

} // namespace

int runPorts(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Lists the serial ports of this machine, as --device takes them."));
    parser.addPositionalArgument({}, {}, QStringLiteral("ports"));
    const QString jsonOption = QStringLiteral("json");
    parser.addOption({jsonOption, QStringLiteral("Prints one JSON object for each port.")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    if (!parser.positionalArguments().isEmpty()) {
        throw tools::UsageError(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    }
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports) {
        if (parser.isSet(jsonOption)) {
            printObject(output.out, port);
        } else {
            printLine(output.out, port);
        }
    }
    if (ports.isEmpty()) {
        output.err << "biz_console: this machine has no serial port\n";
    }
    return AsExpected;
}

} // namespace biz::console
