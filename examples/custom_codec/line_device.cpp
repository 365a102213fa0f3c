// A device that speaks the wire format of this example: it listens on a free TCP port of this machine and
// greets each record that comes.

#include <cstdio>

#include <QtCore/QCoreApplication>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include "line_codec.h"

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&server] {
        QTcpSocket *socket = server.nextPendingConnection();
        // Each connection has a codec of its own, which holds the line that has not ended yet.
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, codec = LineCodec()]() mutable {
            socket->write(greetEachRecord(&codec, socket->readAll()));
        });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    });
    if (!server.listen(QHostAddress::LocalHost)) {
        qFatal("%s", qPrintable(server.errorString()));
    }
    std::printf("listening on tcp://127.0.0.1:%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
