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

int runDevice(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Plays a session against one device."));
    parser.addPositionalArgument(QStringLiteral("session"), QStringLiteral("The session, a JSON file."),
                                 QStringLiteral("run SESSION.json"));
    addDeviceOption(parser);
    addPlanOptions(parser);
    addReconnectOption(parser);
    addQuietOption(parser, "what was not as expected, outages of the link");
    addJsonOption(parser);
    addWatchOption(parser);
    addRecordOptions(parser);
    addJunitOption(parser);
    addMetricsOption(parser);
    addLogDirOption(parser);
    addTraceOption(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    const QString path = onlyArgument(parser, QStringLiteral("the session"));
    std::unique_ptr<host::DeviceLink> link = deviceLink(parser);
    const RunPlan plan = runPlan(parser);
    DeviceSession session = readDeviceSession(tools::readInputFile(path));
    requireOneForm(parser);
    FileNames names(path);
    RecordingFile recording(parser, names);
    JunitFile junit(parser, names, path);
    MetricsFile metrics(parser, output, names);
    obeyTraceOption(parser);
    obeyLogDirOption(parser);

    recording.open();
    junit.open();
    SessionRun run(std::make_unique<DeviceSide>(std::move(session), recording.wrap(std::move(link)), plan), plan,
                   output.err);
    recording.record(run);
    junit.report(run);
    EventPrinter::Options shown;
    shown.events = !isQuiet(parser);
    shown.progress = shown.events;
    addOutputSink(run, parser, output, shown);
    metrics.start([&run] { return run.metrics(); });
    const int exitCode = execute(run);
    metrics.finish();
    return junit.finish(recording.finish(exitCode, output.err), output.err);
}

} // namespace biz::console
