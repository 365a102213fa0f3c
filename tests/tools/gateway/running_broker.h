#ifndef BIZ_TEST_RUNNING_BROKER_H
#define BIZ_TEST_RUNNING_BROKER_H

#include <csignal>

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <host/support/wait_for.h>

namespace biz::test {

/** A port on which nobody listens. */
inline quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : quint16(0);
}

/** A broker on a port of the loopback interface, killed with the object. */
class RunningBroker
{
public:
    /** Where the broker's program is; empty when it is not installed. */
    static QString program()
    {
        const QString found = QStandardPaths::findExecutable("mosquitto");
        return found.isEmpty() ? QStandardPaths::findExecutable("mosquitto", {"/usr/sbin"}) : found;
    }

    /** `settings` are lines of the broker's configuration; without them everybody may do everything. */
    explicit RunningBroker(const QString &folder, const QByteArray &settings = "allow_anonymous true\n")
        : m_config(folder + "/mosquitto.conf")
        , m_port(freePort())
    {
        // The last lines are for the listener.
        write("per_listener_settings false\nset_tcp_nodelay true\nlistener " + QByteArray::number(m_port) +
              " 127.0.0.1\n" + settings);
        start();
    }
    ~RunningBroker() { kill(); }
    RunningBroker(const RunningBroker &) = delete;
    RunningBroker &operator=(const RunningBroker &) = delete;

    /** Returns when it listens. */
    void start()
    {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(program(), {"-c", m_config});
        waitFor([this] {
            QTcpSocket socket;
            socket.connectToHost("127.0.0.1", m_port);
            return socket.waitForConnected(100) || m_process.state() == QProcess::NotRunning;
        });
    }

    /** As if the power had failed. It has no memory. */
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    void write(const QByteArray &config) const
    {
        QFile file(m_config);
        file.open(QIODevice::WriteOnly);
        file.write(config);
    }

    /** Reads its configuration, passwords and rules again. */
    void reload() { ::kill(static_cast<pid_t>(m_process.processId()), SIGHUP); }

    quint16 port() const { return m_port; }
    qint64 processId() const { return m_process.processId(); }
    QByteArray output() { return m_process.readAll(); }

private:
    const QString m_config;
    const quint16 m_port;
    QProcess m_process;
};

} // namespace biz::test

#endif
