#include <QtCore/QCoreApplication>
#include <host/device_host.h>
using namespace biz::host;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    biz_DeviceHost host;
    QString error;
    host.setLink(makeLink(QUrl(QString::fromLocal8Bit(argc > 1 ? argv[1] : "tcp://127.0.0.1:15700")), &error));
    host.setDeviceType(0x1400); // an A2: the rules of this model judge each reply
    QObject::connect(&host, &biz_DeviceHost::linkClosed, &host, [&host](const QString &reason) {
        qWarning("%s", qPrintable(reason));
        host.stop();
    });
    QObject::connect(&host, &biz_DeviceHost::ended, &app, [](Ticket, const CommandResult &result) {
        qInfo("%s - %s", qPrintable(outcomeName(result.outcome)), qPrintable(result.reason));
        QCoreApplication::exit(result.outcome == Outcome::Answered ? 0 : 1);
    });
    model_Protocoldata command;
    command.ucHead[1] = 0xF1; // the command code
    command.ucHead[2] = 0x08; // the sub-code
    host.enqueue(command);
    if (!host.start()) {
        qFatal("%s", qPrintable(error));
    }
    return QCoreApplication::exec();
}
