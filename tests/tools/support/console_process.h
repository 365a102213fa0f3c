#ifndef BIZ_TEST_CONSOLE_PROCESS_H
#define BIZ_TEST_CONSOLE_PROCESS_H

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include <tools/support/fake_device.h>
#include <tools/support/running_console.h>

namespace biz::test {

/** Within this time a run ends that is broken off. */
constexpr int stopLimitMs = 2000;

/** The console over sessions in a folder of the test's own. */
class ConsoleProcess : public testing::Test
{
protected:
    QString file(const QString &name) const { return folder.filePath(name); }

    QString write(const QString &name, const QByteArray &content) const
    {
        QFile target(file(name));
        EXPECT_TRUE(target.open(QIODevice::WriteOnly));
        target.write(content);
        return target.fileName();
    }

    /** A session with these commands for a device whose replies nobody judges. */
    QString session(const QByteArray &commands, const QByteArray &deviceType = "-1") const
    {
        return write("session.json",
                     R"({"deviceType": )" + deviceType + R"(, "defaultWaitMs": 100, "commands": [)" + commands + "]}");
    }

    QStringList runArguments(const QString &sessionFile, const QString &url) const
    {
        return {"run", sessionFile, "--device", url, "--log-dir", file("logs")};
    }

    /** Of a file in the test's folder, or of one by its whole path. */
    QByteArray contentOf(const QString &name) const
    {
        QFile content(QDir(folder.path()).filePath(name));
        EXPECT_TRUE(content.open(QIODevice::ReadOnly));
        return content.readAll();
    }

    /** The exit status of an endless run whose reader goes away after a line, as the shell prints it. */
    QByteArray statusWithoutReader(const QStringList &arguments) const
    {
        QProcess shell;
        const QString piped = QStringLiteral(R"({ "$0" "$@"; echo $? >status; } | head -1)");
        shell.setWorkingDirectory(folder.path());
        QEventLoop loop;
        QObject::connect(&shell, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
        QTimer::singleShot(20000, &loop, &QEventLoop::quit);
        shell.start("/bin/sh",
                    QStringList{"-c", piped, QStringLiteral(BIZ_CONSOLE)} + arguments + QStringList{"--repeat", "0"});
        loop.exec();
        EXPECT_EQ(shell.state(), QProcess::NotRunning) << "it goes on commanding";
        shell.kill();
        shell.waitForFinished();
        return contentOf("status");
    }

    QStringList errorLogs() const { return QDir(file("logs/Errorlog")).entryList(QDir::Files); }

    QTemporaryDir folder;
};

inline const QByteArray getVolume = R"({"name": "get volume", "head": "F1 08 03 62 01 00"})";

inline QByteArray getVolumeTimes(int times)
{
    return R"({"name": "get volume", "head": "F1 08 03 62 01 00", "repeat": )" + QByteArray::number(times) + "}";
}

/** What a device that answers short is given. */
inline const QByteArray refusedCommand = R"({"name": "Größe", "head": "F1 05 00 00 00 00", "expect": {"outcome":
                                             "gaveUp", "events": ["rejected", "resent"]}})";

/** OSD devices at 127.3.0.x of this process: those with an odd x answer. */
class ConsoleOsd : public ConsoleProcess
{
protected:
    void SetUp() override
    {
        for (int i = 0; i < 3; ++i) {
            QUdpSocket &socket = sockets[i];
            ASSERT_TRUE(socket.bind(QHostAddress(QString("127.3.0.%1").arg(i + 1)), i == 0 ? quint16(0) : port));
            port = socket.localPort();
            QObject::connect(&socket, &QUdpSocket::readyRead, &socket, [&socket, i] {
                while (socket.hasPendingDatagrams()) {
                    const QNetworkDatagram datagram = socket.receiveDatagram();
                    if (i % 2 == 0) {
                        socket.writeDatagram(datagram.data(), datagram.senderAddress(),
                                             static_cast<quint16>(datagram.senderPort()));
                    }
                }
            });
        }
    }

    QString osdSession(const QByteArray &silent) const
    {
        return write("osd.json", R"({"devices": {"first": "127.3.0.1", "count": 3}, "silent": )" + silent + R"(,
            "commands": [{"name": "show text", "head": "0D 01 00 00 00 00 00 00 00 00 00", "repeat": 2}]})");
    }

    QStringList osdArguments(const QString &sessionFile) const
    {
        return {"osd", sessionFile, "--port", QString::number(port)};
    }

    QUdpSocket sockets[3];
    quint16 port = 0;
};

} // namespace biz::test

#endif
