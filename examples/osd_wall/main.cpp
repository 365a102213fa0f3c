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
    command.iWaitTime = 2000; // the channel counts whole seconds: 1 to 2.5 s
    return command;
}

void printTable(const biz_OsdHost &host)
{
    QTextStream out(stdout);
    for (const biz_OsdHost::DeviceStatus &device : host.devices()) {
        out << device.ip << ": answered " << device.counters.answered << ", given up " << device.counters.gaveUp
            << '\n';
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const quint32 first = QHostAddress(arguments.value(1, QStringLiteral("127.1.0.1"))).toIPv4Address();
    const quint32 count = arguments.value(2, QStringLiteral("4")).toUInt();

    biz_OsdHost host;
    host.setPort(arguments.value(3, QString::number(biz_OsdHost::defaultPort)).toUShort());
    // Counted here, since pending() is already 0 when several commands have ended at once and
    // the signals for them are still to come.
    quint32 toEnd = 2 * count;
    QObject::connect(&host, &biz_OsdHost::ended, &app, [&](Ticket, const OsdCommandResult &result) {
        QTextStream(stdout) << result.ip << ": " << outcomeName(result.outcome) << ", " << result.reason << '\n';
        if (--toEnd == 0) {
            QCoreApplication::quit();
        }
    });
    for (quint32 device = first; device < first + count; ++device) {
        const QString ip = QHostAddress(device).toString();
        host.enqueue(textFor(ip, "one"));
        host.enqueue(textFor(ip, "two")); // leaves when the first is answered or given up
    }
    if (!host.start()) {
        qFatal("%s", qPrintable(host.errorString()));
    }
    QCoreApplication::exec();
    printTable(host);
    return 0;
}
