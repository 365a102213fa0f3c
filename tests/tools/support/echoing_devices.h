#ifndef BIZ_TEST_ECHOING_DEVICES_H
#define BIZ_TEST_ECHOING_DEVICES_H

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>
#include <QtCore/QSocketNotifier>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <host/frame_codec.h>

#include <unistd.h>

namespace biz::test {

/**
 * Devices that echo, for programs that measure: a process of their own, which is the program itself with the
 * argument `devices`. Its main() leaves that to serve().
 */
class EchoingDevices
{
public:
    /** Echoes what comes until the input ends, then says which numbers came, one a line. */
    static int serve()
    {
        QTcpServer server;
        std::vector<int> seen;
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&server, &seen] {
            QTcpSocket *const socket = server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket,
                             [socket, &seen, codec = std::make_shared<host::DemoFrameCodec>()] {
                                 for (const model_Protocoldata &command : codec->decode(socket->readAll()).records) {
                                     seen.push_back(command.baData.toInt());
                                     socket->write(codec->encode(command));
                                 }
                             });
            QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        });
        if (!server.listen(QHostAddress::LocalHost)) {
            return EXIT_FAILURE;
        }
        std::printf("%d\n", server.serverPort());
        std::fflush(stdout);
        QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(&input, &QSocketNotifier::activated, &server, [] { QCoreApplication::quit(); });
        QCoreApplication::exec();
        for (const int number : seen) {
            std::printf("%d\n", number);
        }
        return EXIT_SUCCESS;
    }

    EchoingDevices()
    {
        m_process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("devices")});
        m_process.waitForReadyRead(patienceMs);
        m_url = QStringLiteral("tcp://127.0.0.1:") + QString::fromLatin1(m_process.readLine().trimmed());
    }

    /** The link to any of them. */
    QString url() const { return m_url; }

    /** Ends the devices, and says how often each number came. */
    std::map<int, int> takeWrites()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(patienceMs);
        std::map<int, int> writes;
        for (const QByteArray &line : m_process.readAllStandardOutput().split('\n')) {
            if (!line.isEmpty()) {
                ++writes[line.toInt()];
            }
        }
        return writes;
    }

private:
    static constexpr int patienceMs = 120'000;

    QProcess m_process;
    QString m_url;
};

} // namespace biz::test

#endif
