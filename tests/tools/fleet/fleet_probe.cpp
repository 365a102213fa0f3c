// An application with a fleet: "fleet_probe FOLDER URL...". It prints the process ids of its workers when they
// serve, and runs until it is killed.

#include <cstdio>

#include <QtCore/QCoreApplication>

#include <host/device_fleet.h>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    biz::host::DeviceFleet fleet(QString::fromLocal8Bit(argv[1]));
    QObject::connect(&fleet, &biz::host::DeviceFleet::linkStateChanged, &fleet,
                     [&fleet](const QString &name, const biz::host::LinkStatus &status) {
                         if (status.state == biz::host::LinkState::Up) {
                             std::printf("%lld\n", fleet.workerProcessId(name));
                             std::fflush(stdout);
                         }
                     });
    for (int device = 2; device < argc; ++device) {
        biz::host::DeviceSettings settings;
        settings.link = QUrl(QString::fromLocal8Bit(argv[device]));
        if (!fleet.add(QString::number(device), settings)) {
            return 1;
        }
    }
    return QCoreApplication::exec();
}
