// Many devices through one object: "fleet FOLDER URL..." gives each device one command and prints what became of it.

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QUrl>

#include <host/device_fleet.h>

using namespace biz::host;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        qCritical("a folder and the URLs of devices expected, such as /tmp/fleet tcp://127.0.0.1:15700");
        return 2;
    }
    DeviceFleet fleet(arguments.at(1));
    qsizetype pending = arguments.size() - 2;
    QObject::connect(&fleet, &DeviceFleet::linkStateChanged, &app, [](const QString &name, const LinkStatus &status) {
        qInfo().noquote() << name << "is" << linkStateName(status.state) << status.reason;
    });
    QObject::connect(&fleet, &DeviceFleet::ended, &app,
                     [&pending](const QString &name, Ticket, const CommandResult &result) {
                         qInfo().noquote() << name << outcomeName(result.outcome) << "-" << result.reason;
                         if (--pending == 0) {
                             QCoreApplication::quit();
                         }
                     });
    for (int number = 2; number < arguments.size(); ++number) {
        DeviceSettings settings;
        settings.link = QUrl(arguments.at(number));
        settings.model = QStringLiteral("A2");
        const QString name = QStringLiteral("device-%1").arg(number - 1);
        if (!fleet.add(name, settings) || fleet.enqueue(name, makeCommand(0xF1, 0x12)) == 0) {
            qCritical().noquote() << fleet.errorString();
            return 1;
        }
    }
    return QCoreApplication::exec();
}
