// Many OSD devices at once, with the host kit: every device of a wall gets two texts. Devices
// that do not answer are reported when their wait is over, and delay no other.
//
// osd_wall [FIRST_ADDRESS [COUNT [PORT]]], by default 127.1.0.1, 4 devices, port 15701.

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>
#include <QtNetwork/QHostAddress>

#include <host/osd_host.h>

using namespace biz::host;

namespace {

model_OsdParam textFor(const QString &ip, const QByteArray &text)
{
    model_OsdParam command;
    command.qsIp = ip;
    command.baData = text;
    command.iWaitTime = OsdHost::defaultWaitMs; // the channel counts whole seconds: 1 to 2.5 s
    return command;
}

void printTable(const OsdHost &host)
{
    QTextStream out(stdout);
    for (const OsdDeviceStatus &device : host.devices()) {
        out << device.ip << ": answered " << device.counters.answered << ", given up " << device.counters.gaveUp
            << '\n';
    }
}

/** Both texts for each device; false when the host refuses one. */
bool enqueueTexts(OsdHost &host, quint32 first, quint32 count)
{
    for (quint32 device = first; device < first + count; ++device) {
        const QString ip = QHostAddress(device).toString();
        // The second text leaves when the first is answered or given up.
        if (host.enqueue(textFor(ip, "one")) == 0 || host.enqueue(textFor(ip, "two")) == 0) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    bool isAddress = false;
    bool isCount = false;
    bool isPort = false;
    const quint32 first = QHostAddress(arguments.value(1, QStringLiteral("127.1.0.1"))).toIPv4Address(&isAddress);
    const quint32 count = arguments.value(2, QStringLiteral("4")).toUInt(&isCount);
    const quint16 port = arguments.value(3, QString::number(OsdHost::defaultPort)).toUShort(&isPort);
    if (!isAddress || !isCount || count == 0 || !isPort) {
        qCritical("osd_wall: expected an IPv4 address, a number of devices from 1, and a port");
        return 2;
    }

    OsdHost host;
    // Counted here, since pending() is already 0 when several commands have ended at once and
    // the signals for them are still to come.
    quint32 toEnd = 2 * count;
    QObject::connect(&host, &OsdHost::ended, &app, [&](Ticket, const OsdCommandResult &result) {
        QTextStream(stdout) << result.ip << ": " << outcomeName(result.outcome) << ", " << result.reason << '\n';
        if (--toEnd == 0) {
            QCoreApplication::quit();
        }
    });
    if (!host.setPort(port) || !enqueueTexts(host, first, count) || !host.start()) {
        qCritical("%s", qPrintable(host.errorString()));
        return 1;
    }
    QCoreApplication::exec();
    printTable(host);
    return 0;
}
