#ifndef BIZ_CONSOLE_JUNIT_OPTION_H
#define BIZ_CONSOLE_JUNIT_OPTION_H

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>

#include <biz_console/cli/file_names.h>
#include <biz_console/run/session_run.h>

namespace biz::console {

/** --junit. */
void addJunitOption(QCommandLineParser &parser);

/** The file that --junit names. It is opened when all that the user said has been checked, as that empties it. */
class JunitFile
{
public:
    /** Throws UsageError when something else has the file. */
    JunitFile(const QCommandLineParser &parser, FileNames &names, const QString &sessionFile);

    /** Before what follows. Throws InputError when it cannot be written. */
    void open();

    /** Reports a run of the session, if --junit is set. The run must not outlive the file. */
    void report(SessionRun &run);

    /** As that of the recording. */
    [[nodiscard]] int finish(int exitCode, QTextStream &err);

private:
    QFile m_file;
    QString m_suite;
};

} // namespace biz::console

#endif
