#include <biz_console/cli/junit_option.h>

#include <QtCore/QFileInfo>

#include <biz_console/cli/command_line.h>
#include <biz_console/output/junit_sink.h>
#include <common/errors.h>
#include <common/shown_text.h>

namespace biz::console {

namespace {

QString junitOption()
{
    return QStringLiteral("junit");
}

} // namespace

void addJunitOption(QCommandLineParser &parser)
{
    parser.addOption({junitOption(),
                      QStringLiteral("Writes a JUnit report for continuous integration into <file>: a test case for "
                                     "each command."),
                      QStringLiteral("file")});
}

JunitFile::JunitFile(const QCommandLineParser &parser, FileNames &names, const QString &sessionFile)
    : m_suite(QFileInfo(sessionFile).completeBaseName())
{
    if (parser.isSet(junitOption())) {
        m_file.setFileName(names.written(junitOption(), parser.value(junitOption())));
    }
}

void JunitFile::open()
{
    if (!m_file.fileName().isEmpty() && !m_file.open(QIODevice::WriteOnly)) {
        throw tools::InputError(
            QStringLiteral("%1: cannot be written: %2").arg(m_file.fileName(), m_file.errorString()));
    }
}

void JunitFile::report(SessionRun &run)
{
    if (m_file.isOpen()) {
        run.addSink(std::make_unique<JunitSink>(m_file, m_suite));
    }
}

int JunitFile::finish(int exitCode, QTextStream &err)
{
    if (!m_file.isOpen() || (m_file.flush() && m_file.error() == QFileDevice::NoError)) {
        return exitCode;
    }
    err << "biz_console: "
        << tools::shownText(
               QStringLiteral("%1: the report could not be written: %2").arg(m_file.fileName(), m_file.errorString()))
        << '\n';
    return unwritten(exitCode);
}

} // namespace biz::console
