#include <biz_console/verbs/verbs.h>

#include <algorithm>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <biz_console/cli/command_line.h>
#include <biz_console/output/event_printer.h>
#include <biz_console/recording/recording_compare.h>
#include <biz_console/recording/recording_reader.h>
#include <biz_console/replay/replay.h>
#include <common/shown_text.h>

namespace biz::console {

namespace {

bool isInterrupted(const Recording &recording)
{
    return std::any_of(recording.steps.begin(), recording.steps.end(),
                       [](const RecordedStep &step) { return step.kind == RecordedStep::Kind::Interrupted; });
}

ExitCode printResult(const Recording &recorded, const Recording &replayed, const Output &output)
{
    const QStringList lines = differences(recorded, replayed);
    const auto commands = recorded.commands.size();
    for (const QString &line : lines) {
        output.out << tools::shownText(line) << '\n';
    }
    output.out << (lines.isEmpty() ? "" : "\n") << commands << (commands == 1 ? " command" : " commands")
               << (lines.isEmpty() ? " went as recorded" : " replayed, not as recorded");
    if (recorded.cutInLine > 0) {
        output.out << ", up to the cut: the recording ends in line " << recorded.cutInLine << " without its summary";
    }
    output.out << '\n';
    return lines.isEmpty() ? AsExpected : NotAsExpected;
}

} // namespace

int runReplay(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays a recording through the library in place of the devices, and compares what happens with "
                       "what\nwas recorded. Exit status: 0 the same, 1 something else, 2 no recording."));
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("The recording, as --record of run and osd writes it; - for the "
                                                "standard input."),
                                 QStringLiteral("replay FILE"));
    const QString eventsOption = QStringLiteral("events");
    parser.addOption({eventsOption, QStringLiteral("Shows a line for each event of the replay.")});
    const QString fastOption = QStringLiteral("fast");
    parser.addOption(
        {fastOption, QStringLiteral("Leaves out the time that the devices took; time-outs are waited for.")});
    addTraceOption(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    Recording recorded = readRecordingFile(onlyArgument(parser, QStringLiteral("the recording")));
    if (parser.isSet(fastOption)) {
        recorded = withoutWaiting(std::move(recorded));
    }
    obeyTraceOption(parser);
    // The replies that are rejected once more are no news for the log of this folder.
    const QTemporaryDir scratch;
    if (!scratch.isValid()) {
        throw tools::InputError(QStringLiteral("no temporary folder can be made: ") + scratch.errorString());
    }
    const QString before = QDir::currentPath();
    QDir::setCurrent(scratch.path());
    QString problems;
    const Recording replayed = replay(
        recorded,
        [&](SessionRun &run) {
            EventPrinter::Options shown;
            shown.events = parser.isSet(eventsOption);
            if (shown.events) {
                run.addSink(std::make_unique<EventPrinter>(output.out, output.outIsTerminal, shown));
            }
        },
        &problems);
    QDir::setCurrent(before);
    if (isInterrupted(replayed) && !isInterrupted(recorded)) {
        output.err << problems;
        return NotAsExpected;
    }
    return printResult(recorded, replayed, output);
}

} // namespace biz::console
