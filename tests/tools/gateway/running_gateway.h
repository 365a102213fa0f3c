#ifndef BIZ_TEST_RUNNING_GATEWAY_H
#define BIZ_TEST_RUNNING_GATEWAY_H

#include <csignal>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <host/support/wait_for.h>

namespace biz::test {

/** The built gateway as a process of its own, killed with the object. */
class RunningGateway
{
public:
    RunningGateway(const QJsonObject &config, const QString &folder)
        : m_folder(folder)
    {
        // Where its fleet looks for the console.
        const QByteArray beside = QFile::encodeName(QFileInfo(QStringLiteral(BIZ_CONSOLE)).path());
        qputenv("PATH", beside + ':' + qgetenv("PATH"));
        QDir().mkpath(folder);
        write(config);
        start();
    }
    ~RunningGateway() { kill(); }
    RunningGateway(const RunningGateway &) = delete;
    RunningGateway &operator=(const RunningGateway &) = delete;

    void start()
    {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(QStringLiteral(BIZ_GATEWAY), {"--config", m_folder + "/gateway.json", "--state", m_folder});
        m_process.waitForStarted();
    }

    void write(const QJsonObject &config) const
    {
        QFile file(m_folder + "/gateway.json");
        file.open(QIODevice::WriteOnly);
        file.write(QJsonDocument(config).toJson());
    }

    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    void send(int signal) { ::kill(static_cast<pid_t>(m_process.processId()), signal); }

    /** Waits until it has said this; false when it does not in time. */
    bool waitForOutput(const QString &text)
    {
        return waitFor([&] { return output().contains(text) || isOver(); }) && output().contains(text);
    }

    /** Waits for its end; the exit status, or -1 for a crash or none in time. */
    int exitStatus()
    {
        const bool hasEnded = waitFor([this] { return isOver(); });
        return hasEnded && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }

    bool isOver() const { return m_process.state() == QProcess::NotRunning; }
    qint64 processId() const { return m_process.processId(); }

    QString output()
    {
        m_output += QString::fromUtf8(m_process.readAll());
        return m_output;
    }

private:
    const QString m_folder;
    QProcess m_process;
    QString m_output;
};

} // namespace biz::test

#endif
