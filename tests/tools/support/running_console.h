#ifndef BIZ_TEST_RUNNING_CONSOLE_H
#define BIZ_TEST_RUNNING_CONSOLE_H

#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::test {

/**
 * The built console as a process of its own. While a test waits for it, the test's event
 * loop runs, so that devices of the test's own process can answer.
 */
class RunningConsole
{
public:
    /** With this as its whole standard input, and in this folder unless it is empty. */
    explicit RunningConsole(const QStringList &arguments, const QByteArray &input = {}, const QString &folder = {});
    ~RunningConsole();

    /** Waits until the standard output holds the text; false when it does not in time. */
    bool waitForOutput(const QString &text);

    /** The same of the error stream. */
    bool waitForErrors(const QString &text);

    void sendSignal(int signal);

    /** Waits for the end; the exit status, or -1 for a crash or none in time. */
    int exitStatus();

    QString output() const { return QString::fromUtf8(m_output); }
    QString errors() const { return QString::fromUtf8(m_errors); }
    QStringList outputLines() const { return output().split(QLatin1Char('\n')); }

private:
    template<typename Condition>
    bool waitUntil(Condition condition);

    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

} // namespace biz::test

#endif
