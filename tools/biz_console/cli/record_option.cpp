#include <biz_console/cli/record_option.h>

#include <biz_console/cli/command_line.h>
#include <common/errors.h>
#include <common/shown_text.h>

namespace biz::console {

namespace {

QString recordOption()
{
    return QStringLiteral("record");
}

QString recordOnFailureOption()
{
    return QStringLiteral("record-on-failure");
}

constexpr int bytesPerMegabyte = 1024 * 1024;

/** Some ten thousand commands, and little beside what a host takes anyway. */
constexpr int lastPartBytes = 16 * bytesPerMegabyte;

} // namespace

void addRecordOptions(QCommandLineParser &parser)
{
    parser.addOption(
        {recordOption(),
         QStringLiteral("Writes what passes between host, library and device into <file>, for 'biz_console "
                        "replay'."),
         QStringLiteral("file")});
    parser.addOption({recordOnFailureOption(),
                      QStringLiteral("The same of the last part of the run, %1 MB at most, and only when it did not go "
                                     "as expected.")
                          .arg(lastPartBytes / bytesPerMegabyte),
                      QStringLiteral("file")});
}

RecordingFile::RecordingFile(const QCommandLineParser &parser, FileNames &names)
{
    const bool keepsLastPart = parser.isSet(recordOnFailureOption());
    if (keepsLastPart && parser.isSet(recordOption())) {
        throw tools::UsageError(
            QStringLiteral("--%1: cannot be used beside --%2").arg(recordOnFailureOption(), recordOption()));
    }
    const QString option = keepsLastPart ? recordOnFailureOption() : recordOption();
    if (!parser.isSet(option)) {
        return;
    }
    m_file.setFileName(names.written(option, parser.value(option)));
    if (keepsLastPart) {
        m_lastPart = std::make_unique<LastPart>(lastPartBytes);
        m_recorder = std::make_unique<Recorder>(*m_lastPart);
    } else {
        m_recorder = std::make_unique<Recorder>(m_file);
    }
}

// What a run before this one left there is overwritten only by a recording of this one.
void RecordingFile::open()
{
    if (!m_recorder) {
        return;
    }
    m_isNewFile = !m_file.exists();
    if (!m_file.open(m_lastPart ? QIODevice::ReadWrite : QIODevice::WriteOnly)) {
        throw tools::InputError(
            QStringLiteral("%1: cannot be written: %2").arg(m_file.fileName(), m_file.errorString()));
    }
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

int RecordingFile::finish(int exitCode, QTextStream &err)
{
    if (!m_recorder) {
        return exitCode;
    }
    bool isWhole = m_recorder->finish();
    if (m_lastPart && exitCode != AsExpected) {
        isWhole = writeLastPart();
    } else if (m_lastPart && m_isNewFile) {
        m_file.remove();
    }
    if (isWhole) {
        return exitCode;
    }
    err << "biz_console: "
        << tools::shownText(QStringLiteral("%1: the recording could not be written: %2")
                                .arg(m_file.fileName(), m_file.errorString()))
        << '\n';
    return unwritten(exitCode);
}

bool RecordingFile::writeLastPart()
{
    const QByteArray text = m_lastPart->recording();
    return m_file.resize(0) && m_file.write(text) == text.size() && m_file.flush();
}

} // namespace biz::console
