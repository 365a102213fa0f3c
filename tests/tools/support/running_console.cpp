#include <tools/support/running_console.h>

#include <csignal>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

namespace biz::test {

namespace {

/** How long a test waits for what must happen; a broken build fails after it. */
constexpr int patienceMs = 20'000;

} // namespace

RunningConsole::RunningConsole(const QStringList &arguments, const QByteArray &input, const QString &folder)
{
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process,
                     [this] { m_output += m_process.readAllStandardOutput(); });
    QObject::connect(&m_process, &QProcess::readyReadStandardError, &m_process,
                     [this] { m_errors += m_process.readAllStandardError(); });
    if (!folder.isEmpty()) {
        m_process.setWorkingDirectory(folder);
    }
    m_process.start(QStringLiteral(BIZ_CONSOLE), arguments);
    m_process.write(input);
    m_process.closeWriteChannel();
}

RunningConsole::~RunningConsole()
{
    m_process.kill();
    m_process.waitForFinished();
}

template<typename Condition>
bool RunningConsole::waitUntil(Condition condition)
{
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    const auto check = [&] {
        if (condition()) {
            loop.quit();
        }
    };
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &loop, check);
    QObject::connect(&m_process, &QProcess::readyReadStandardError, &loop, check);
    QObject::connect(&m_process, &QProcess::stateChanged, &loop, check);
    limit.start(patienceMs);
    if (!condition()) {
        loop.exec();
    }
    return condition();
}

bool RunningConsole::waitForOutput(const QString &text)
{
    return waitUntil([&] { return output().contains(text); });
}

bool RunningConsole::waitForErrors(const QString &text)
{
    return waitUntil([&] { return errors().contains(text); });
}

void RunningConsole::sendSignal(int signal)
{
    kill(static_cast<pid_t>(m_process.processId()), signal);
}

int RunningConsole::exitStatus()
{
    const bool ended = waitUntil([this] { return m_process.state() == QProcess::NotRunning; });
    return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

} // namespace biz::test
