#include <biz_console/run_options.h>

#include <biz_console/json_sink.h>

namespace biz::console {

namespace {

QString jsonOption()
{
    return QStringLiteral("json");
}

QString quietOption()
{
    return QStringLiteral("quiet");
}

} // namespace

void addJsonOption(QCommandLineParser &parser)
{
    parser.addOption({jsonOption(), QStringLiteral("Prints one JSON object a line: each event, and the summary.")});
}

bool wantsJson(const QCommandLineParser &parser)
{
    return parser.isSet(jsonOption());
}

void addQuietOption(QCommandLineParser &parser)
{
    parser.addOption({quietOption(), QStringLiteral("Shows what was not as expected and the summary only.")});
}

bool isQuiet(const QCommandLineParser &parser)
{
    return parser.isSet(quietOption());
}

void addOutputSink(SessionRun &run, const QCommandLineParser &parser, const Output &output,
                   const EventPrinter::Options &shown)
{
    if (wantsJson(parser)) {
        run.addSink(std::make_unique<JsonSink>(output.out, !isQuiet(parser)));
    } else {
        run.addSink(std::make_unique<EventPrinter>(output.out, output.outIsTerminal, shown));
    }
}

} // namespace biz::console
