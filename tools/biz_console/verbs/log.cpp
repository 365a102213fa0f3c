#include <biz_console/verbs/verbs.h>

#include <QtCore/QDir>

#include <biz_console/cli/command_line.h>
#include <biz_console/replies/error_log_file.h>
#include <biz_console/replies/log_report.h>

namespace biz::console {

int runLog(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reads error logs back: which reply was rejected, and which rule it broke."));
    parser.addPositionalArgument(
        QStringLiteral("file"),
        QStringLiteral("Error logs, - for the standard input; today's below the working directory by default."),
        QStringLiteral("log [FILE...]"));
    const QString jsonOption = QStringLiteral("json");
    parser.addOption({jsonOption, QStringLiteral("Prints one JSON object for each rejected reply, and a summary.")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        files.append(errorLogOfToday(QDir::currentPath()));
    }
    LogReport report(output.out, parser.isSet(jsonOption));
    for (const QString &file : files) {
        report.read(file);
    }
    report.close();
    return AsExpected;
}

} // namespace biz::console
