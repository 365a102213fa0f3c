// A small window on one device, with the host kit: connect, send, see how each command ended.
//
// widgets_host [URL]                    by default a simulator on this machine
// widgets_host --smoke [PICTURE.png]    against a device within this process: connects, sends
//                                       one command, and ends when that has ended

#include <QtCore/QTextStream>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include "host_window.h"
#include "small_device.h"

namespace {

constexpr int smokeLimitMs = 10000;

int runSmoke(const QString &picture)
{
    SmallDevice device;
    HostWindow window(device.url());
    window.show();
    QObject::connect(&window, &HostWindow::deviceConnected, &window, &HostWindow::sendCommand);
    QObject::connect(&window, &HostWindow::commandEnded, &window, [&](bool answered) {
        const bool saved = picture.isEmpty() || window.grab().save(picture);
        QTextStream(stdout) << (answered ? "the command was answered" : "the command was not answered") << '\n';
        QApplication::exit(answered && saved ? 0 : 1);
    });
    QTimer::singleShot(smokeLimitMs, &window, [] { QApplication::exit(2); });
    window.connectToDevice();
    return QApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.value(1) == QLatin1String("--smoke")) {
        return runSmoke(arguments.value(2));
    }
    const QString simulator = QStringLiteral("tcp://127.0.0.1:%1").arg(biz::host::defaultTcpPort);
    HostWindow window(arguments.value(1, simulator));
    window.show();
    return QApplication::exec();
}
