#include <biz_console/cli/record_option.h>

#include <sys/stat.h>

#include <biz_console/cli/command_line.h>
#include <common/errors.h>

namespace biz::console {

namespace {

QString recordOption()
{
    return QStringLiteral("record");
}

/** Whether two names, of which either may be a link, are of one file. */
bool isSameFile(const QString &one, const QString &other)
{
    struct stat first = {};
    struct stat second = {};
    return stat(QFile::encodeName(one).constData(), &first) == 0 &&
           stat(QFile::encodeName(other).constData(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

} // namespace

void addRecordOption(QCommandLineParser &parser)
{
    parser.addOption(
        {recordOption(),
         QStringLiteral("Writes what passes between host, library and device into <file>, for 'biz_console "
                        "replay'."),
         QStringLiteral("file")});
}

RecordingFile::RecordingFile(const QCommandLineParser &parser, const QString &sessionFile)
    : m_file(parser.value(recordOption()))
{
    if (!parser.isSet(recordOption())) {
        return;
    }
    if (isSameFile(m_file.fileName(), sessionFile)) {
        throw tools::UsageError(QStringLiteral("--record: another file than that of the session expected"));
    }
    if (!m_file.open(QIODevice::WriteOnly)) {
        throw tools::InputError(
            QStringLiteral("%1: cannot be written: %2").arg(m_file.fileName(), m_file.errorString()));
    }
    m_recorder = std::make_unique<Recorder>(m_file);
}

std::unique_ptr<host::DeviceLink> RecordingFile::wrap(std::unique_ptr<host::DeviceLink> link)
{
    return m_recorder ? m_recorder->wrap(std::move(link)) : std::move(link);
}

void RecordingFile::record(SessionRun &run)
{
    if (m_recorder) {
        run.addSink(m_recorder->sink());
    }
}

void RecordingFile::finish()
{
    if (!m_recorder) {
        return;
    }
    try {
        m_recorder->finish();
    } catch (const tools::InputError &error) {
        throw tools::InputError(m_file.fileName(), error.text());
    }
}

} // namespace biz::console
