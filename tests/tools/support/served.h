#ifndef BIZ_TEST_SERVED_H
#define BIZ_TEST_SERVED_H

#include <functional>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/support/wait_for.h>

namespace biz::test {

/** A program that serves commands as lines of JSON, and what it says. */
class Served
{
public:
    Served(const QString &program, const QStringList &arguments, const QString &folder)
    {
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] { read(); });
        m_process.setWorkingDirectory(folder);
        m_process.start(program, arguments);
    }
    ~Served()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;

    void say(const QByteArray &line) { m_process.write(line + '\n'); }

    /** A command with this id, and further members of its object. */
    void give(const QByteArray &id, const QByteArray &members = {})
    {
        say(R"({"do":"command","id":")" + id + R"(","head":"F1 00 01 16 00 00")" + members + '}');
    }

    void endInput() { m_process.closeWriteChannel(); }

    /** Nothing is read until it is told to read on. */
    void pauseReading() { m_isPaused = true; }
    void readOn()
    {
        m_isPaused = false;
        read();
    }

    /** Waits for the first event of this name, of this command unless the id is empty. */
    QJsonObject waitForEvent(const QString &name, const QString &id = {})
    {
        waitFor([&] { return !find(name, id).isEmpty() || isOver(); });
        return find(name, id);
    }

    /** Empty when there is none yet. */
    QJsonObject find(const QString &name, const QString &id = {}) const
    {
        for (const QJsonObject &event : events) {
            if (event["event"].toString() == name && (id.isEmpty() || event["id"].toString() == id)) {
                return event;
            }
        }
        return {};
    }

    int count(const QString &name) const
    {
        return static_cast<int>(std::count_if(events.begin(), events.end(), [&name](const QJsonObject &event) {
            return event["event"].toString() == name;
        }));
    }

    bool isOver() const { return m_process.state() == QProcess::NotRunning; }
    QProcess &process() { return m_process; }

    /** Waits for its end; the exit status, or -1 for a crash or none in time. */
    int exitStatus(int milliseconds = patienceMs)
    {
        const bool hasEnded = waitFor([this] { return isOver(); }, milliseconds);
        return hasEnded && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }

    QVector<QJsonObject> events;

private:
    void read()
    {
        while (!m_isPaused && m_process.canReadLine()) {
            events.append(QJsonDocument::fromJson(m_process.readLine()).object());
        }
    }

    QProcess m_process;
    bool m_isPaused = false;
};

} // namespace biz::test

#endif
