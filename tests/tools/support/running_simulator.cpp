#include <tools/support/running_simulator.h>

#include <csignal>

#include <QtCore/QRegularExpression>

namespace biz::test {

RunningSimulator::RunningSimulator(const QString &arguments)
{
    m_process.start(QStringLiteral(BIZ_SIMULATOR), arguments.split(QLatin1Char(' ')));
}

RunningSimulator::~RunningSimulator()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(patienceMs);
    }
}

QString RunningSimulator::nextLine()
{
    waitFor([this] { return m_process.canReadLine() || m_process.state() == QProcess::NotRunning; });
    return QString::fromLocal8Bit(m_process.readLine()).trimmed();
}

QString RunningSimulator::lineWith(const QString &text)
{
    QString line = nextLine();
    while (!line.isEmpty() && !line.contains(text)) {
        line = nextLine();
    }
    return line;
}

quint16 RunningSimulator::listeningPort()
{
    static const QRegularExpression lastNumber(QStringLiteral("(\\d+)$"));
    return static_cast<quint16>(lastNumber.match(lineWith(QStringLiteral("listening on "))).captured(1).toUInt());
}

QString RunningSimulator::listeningUrl()
{
    return lineWith(QStringLiteral("listening on ")).section(QStringLiteral("listening on "), 1);
}

void RunningSimulator::sendSignal(int signal)
{
    ::kill(static_cast<pid_t>(m_process.processId()), signal);
}

int RunningSimulator::exitStatus()
{
    if (!waitFor([this] { return m_process.state() == QProcess::NotRunning; })) {
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QString RunningSimulator::allErrors()
{
    return QString::fromLocal8Bit(m_process.readAllStandardError());
}

} // namespace biz::test
