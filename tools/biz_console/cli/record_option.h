#ifndef BIZ_CONSOLE_RECORD_OPTION_H
#define BIZ_CONSOLE_RECORD_OPTION_H

#include <memory>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>

#include <biz_console/recording/recorder.h>
#include <biz_console/run/session_run.h>

namespace biz::console {

/** --record. */
void addRecordOption(QCommandLineParser &parser);

/** The file that --record names. It is opened at once, before --log-dir changes the working directory. */
class RecordingFile
{
public:
    /** Throws InputError when it cannot be written, or is the file of the session. */
    RecordingFile(const QCommandLineParser &parser, const QString &sessionFile);

    /** Without --record the link as it is. */
    std::unique_ptr<host::DeviceLink> wrap(std::unique_ptr<host::DeviceLink> link);

    /** Records a run, if --record is set. The run must not outlive the file. */
    void record(SessionRun &run);

    /** Throws InputError when the recording is not whole. */
    void finish();

private:
    QFile m_file;
    std::unique_ptr<Recorder> m_recorder;
};

} // namespace biz::console

#endif
