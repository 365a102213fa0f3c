#include <biz_console/cli/record_option.h>

#include <biz_console/cli/command_line.h>
#include <common/errors.h>

namespace biz::console {

namespace {

QString recordOption()
{
    return QStringLiteral("record");
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

RecordingFile::RecordingFile(const QCommandLineParser &parser)
    : m_file(parser.value(recordOption()))
{
    if (!parser.isSet(recordOption())) {
        return;
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
    if (m_recorder && (!m_recorder->finish() || !m_file.flush())) {
        throw tools::InputError(
            QStringLiteral("%1: the recording could not be written: %2").arg(m_file.fileName(), m_file.errorString()));
    }
}

} // namespace biz::console
