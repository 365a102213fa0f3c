#ifndef BIZ_TEST_RUNNING_SIMULATOR_H
#define BIZ_TEST_RUNNING_SIMULATOR_H

#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <host/support/wait_for.h>

namespace biz::test {

/**
 * The built simulator as a process of its own. Killed with the object, if it still runs. While a
 * test waits for it, the test's event loop runs, so that hosts of the test's own process can act.
 */
class RunningSimulator
{
public:
    explicit RunningSimulator(const QString &arguments);
    ~RunningSimulator();

    /** The next line of its output; empty when none comes. */
    QString nextLine();

    /** Skips to the next line that contains the text; empty when none comes. */
    QString lineWith(const QString &text);

    /** The port at the end of a "listening" line; 0 when none comes. */
    quint16 listeningPort();

    /** The URL at the end of a "listening" line; empty when none comes. */
    QString listeningUrl();

    void sendSignal(int signal);

    /** Waits for the end; the exit status, or -1 for a crash or none in time. */
    int exitStatus();

    QString allErrors();

private:
    QProcess m_process;
};

} // namespace biz::test

#endif
