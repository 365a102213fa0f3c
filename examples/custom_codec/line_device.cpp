// A device that speaks the wire format of this example: it listens on a TCP port of this machine and greets
// each record that comes.
//
// line_device [PORT], by default a free port, which it prints.

#include <cstdio>

#include <QtCore/QCoreApplication>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include "line_codec.h"

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString port = QCoreApplication::arguments().value(1, QStringLiteral("0"));
    bool isPort = false;
    const quint16 portNumber = port.toUShort(&isPort);
    if (!isPort) {
        std::fprintf(stderr, "line_device: \"%s\" is no port: expected a number from 0 to 65535\n", qPrintable(port));
        return 2;
    }
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&server] {
        QTcpSocket *socket = server.nextPendingConnection();
        // Each connection has a codec of its own, which holds the line that has not ended yet.
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, codec = LineCodec()]() mutable {
            socket->write(greetEachRecord(&codec, socket->readAll()));
        });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    });
    if (!server.listen(QHostAddress::LocalHost, portNumber)) {
        std::fprintf(stderr, "line_device: cannot listen on port %d: %s\n", portNumber,
                     qPrintable(server.errorString()));
        return 1;
    }
    std::printf("listening on tcp://127.0.0.1:%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
