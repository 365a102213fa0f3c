#include <biz_console/verbs/verbs.h>

#include <biz_console/cli/command_line.h>
#include <biz_console/cli/junit_option.h>
#include <biz_console/cli/metrics_option.h>
#include <biz_console/cli/record_option.h>
#include <biz_console/cli/run_options.h>
#include <biz_console/run/session_run.h>
#include <biz_console/session/session_reader.h>
#include <common/files/input_file.h>

namespace biz::console {

namespace {

QString eventsOption()
{
    return QStringLiteral("events");
}

QString allDevicesOption()
{
    return QStringLiteral("all-devices");
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral("Plays a session against many OSD devices at once."));
    parser.addPositionalArgument(QStringLiteral("session"), QStringLiteral("The session, a JSON file."),
                                 QStringLiteral("osd SESSION.json"));
    addOsdOptions(parser, QStringLiteral("the session's"));
    parser.addOption({eventsOption(), QStringLiteral("Shows a line for each event of each device.")});
    parser.addOption({allDevicesOption(), QStringLiteral("Gives every device a row of the table of its own.")});
    addPlanOptions(parser);
    addQuietOption(parser, "what was not as expected");
    addJsonOption(parser);
    addWatchOption(parser);
    addRecordOptions(parser);
    addJunitOption(parser);
    addMetricsOption(parser);
    addTraceOption(parser);
}

} // namespace

int runOsd(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    const QString path = onlyArgument(parser, QStringLiteral("the session"));
    OsdRunOptions options;
    options.localAddress = osdLocalAddress(parser);
    const quint16 port = osdPort(parser, 0);
    const RunPlan plan = runPlan(parser);
    OsdSession session = readOsdSession(tools::readInputFile(path));
    if (port != 0) {
        session.port = port;
    }
    requireOneForm(parser);
    if (isQuiet(parser)) {
        refuseOptions(parser, {eventsOption()}, "is not for a quiet run");
    }
    if (wantsJson(parser)) {
        refuseOptions(parser, {eventsOption(), allDevicesOption()}, "is for people, and --json for programs");
    }
    FileNames names(path);
    RecordingFile recording(parser, names);
    JunitFile junit(parser, names, path);
    MetricsFile metrics(parser, output, names);
    obeyTraceOption(parser);

    recording.open();
    junit.open();
    SessionRun run(std::make_unique<OsdSide>(std::move(session), std::move(options)), plan, output.err);
    recording.record(run);
    junit.report(run);
    EventPrinter::Options shown;
    shown.events = parser.isSet(eventsOption()) && !isQuiet(parser);
    shown.progress = !isQuiet(parser);
    shown.allDevices = parser.isSet(allDevicesOption());
    addOutputSink(run, parser, output, shown);
    metrics.start([&run] { return run.metrics(); });
    const int exitCode = execute(run);
    metrics.finish();
    return junit.finish(recording.finish(exitCode, output.err), output.err);
}

} // namespace biz::console
