// The worker of a device with a wire format of the application's own: other programs, and a DeviceFleet, give it
// commands as lines of JSON on its standard input, as in "line_worker tcp://127.0.0.1:4711".

#include <QtCore/QCoreApplication>
#include <QtCore/QUrl>

#include <host/device_host.h>
#include <host/serve.h>

#include "line_codec.h"

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    biz::host::DeviceHost host;
    if (argc != 2 || !host.setLink(QUrl(QString::fromLocal8Bit(argv[1]))) ||
        !host.setCodec(std::make_unique<LineCodec>()) || !host.setModel(QStringLiteral("A2"))) {
        qCritical("the URL of a device expected: %s", qPrintable(host.errorString()));
        return 2;
    }
    return biz::host::serve(host);
}
