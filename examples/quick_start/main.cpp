#include <QtCore/QCoreApplication>
#include <host/device_host.h>
using namespace biz::host;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString simulator = QStringLiteral("tcp://127.0.0.1:%1").arg(defaultTcpPort);
    const QUrl url(QCoreApplication::arguments().value(1, simulator));
    DeviceHost host;
    QObject::connect(&host, &DeviceHost::ended, &app, [](Ticket, const CommandResult &result) {
        qInfo("%s - %s", qPrintable(outcomeName(result.outcome)), qPrintable(result.reason));
        QCoreApplication::exit(result.outcome == Outcome::Answered ? 0 : 1);
    });
    // The rules of an A2 judge the reply to command F1, sub-code 08.
    const bool isUnderWay = host.setLink(url) && host.setModel(QStringLiteral("A2")) &&
                            host.enqueue(makeCommand(0xF1, 0x08)) != 0 && host.start();
    if (!isUnderWay) {
        qCritical("%s", qPrintable(host.errorString()));
        return 1;
    }
    return QCoreApplication::exec();
}
