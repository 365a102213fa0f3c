#include <biz_console/verbs/verbs.h>

#include <QtCore/QDateTime>

#include <biz_console/cli/command_line.h>
#include <biz_console/cli/file_names.h>
#include <biz_console/report/history_files.h>
#include <common/files/output_file.h>
#include <common/files/utf8_stream.h>
#include <common/shown_text.h>
#include <history/findings/findings.h>
#include <report/report_page.h>

namespace biz::console {

namespace {

constexpr char standardOutput[] = "-";

void save(const QString &path, const QByteArray &page, QTextStream &out)
{
    if (path == QLatin1String(standardOutput)) {
        tools::writeUtf8(out);
        out << QString::fromUtf8(page);
        return;
    }
    const QString problem = tools::writeOutputFile(path, page);
    if (!problem.isEmpty()) {
        throw tools::InputError(problem);
    }
}

/** The verdict for those who do not open the page. */
void print(QTextStream &out, const std::vector<history::Finding> &findings, const QString &path)
{
    for (const history::Finding &finding : findings) {
        if (!finding.sentence.isEmpty()) {
            out << tools::shownText(finding.headline + QStringLiteral(": ") + finding.sentence) << '\n';
        }
    }
    if (path != QLatin1String(standardOutput)) {
        out << tools::shownText(path) << '\n';
    }
}

} // namespace

int runReport(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Makes one page of HTML that shows what happened, to look at or to attach to a mail."));
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("Event logs as --json prints them, recordings and error logs, in any "
                                                "mix."),
                                 QStringLiteral("report FILE..."));
    const QString outOption = QStringLiteral("out");
    parser.addOption({outOption,
                      QStringLiteral("Where the page goes, - for the standard output. Default: report.html."),
                      QStringLiteral("file"), QStringLiteral("report.html")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        throw tools::UsageError(QStringLiteral("a file is missing"));
    }
    const QString path = parser.value(outOption);
    for (const QString &again : takeRepeatedFiles(&files)) {
        output.err << "biz_console: " << tools::shownText(again) << ": named twice; it counts once\n";
    }
    for (const QString &file : qAsConst(files)) {
        requireOtherFile(outOption, path, file, QStringLiteral("those that are read"));
    }
    const history::History history = readHistory(files);
    const std::vector<history::Finding> findings = history::findingsOf(history);
    const report::Maker maker{QStringLiteral("biz_console " BIZ_CONSOLE_VERSION),
                              static_cast<double>(QDateTime::currentMSecsSinceEpoch())};
    save(path, report::reportPage(history, findings, maker), output.out);
    print(path == QLatin1String(standardOutput) ? output.err : output.out, findings, path);
    return AsExpected;
}

} // namespace biz::console
