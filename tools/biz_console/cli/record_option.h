#ifndef BIZ_CONSOLE_RECORD_OPTION_H
#define BIZ_CONSOLE_RECORD_OPTION_H

#include <memory>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>

#include <biz_console/cli/file_names.h>
#include <biz_console/recording/last_part.h>
#include <biz_console/recording/recorder.h>
#include <biz_console/run/session_run.h>

namespace biz::console {

/** --record and --record-on-failure. */
void addRecordOptions(QCommandLineParser &parser);

/**
 * The file that --record or --record-on-failure names. It is opened when all that the user said has been checked: that
 * empties what an older run left there.
 */
class RecordingFile
{
public:
    /** Throws UsageError when something else has the file. */
    RecordingFile(const QCommandLineParser &parser, FileNames &names);

    /** Before what follows. Throws InputError when it cannot be written. */
    void open();

    /** Without a recording the link as it is. */
    std::unique_ptr<host::DeviceLink> wrap(std::unique_ptr<host::DeviceLink> link);

    /** Records a run, if it is to be recorded. The run must not outlive the file. */
    void record(SessionRun &run);

    /**
     * Ends the recording of a run that ended so. Returns the exit code of the command: a recording that is not whole,
     * which a line on `err` says, is not as expected.
     */
    [[nodiscard]] int finish(int exitCode, QTextStream &err);

private:
    bool writeLastPart();

    QFile m_file;
    bool m_isNewFile = false;
    std::unique_ptr<LastPart> m_lastPart; ///< of --record-on-failure
    std::unique_ptr<Recorder> m_recorder;
};

} // namespace biz::console

#endif
