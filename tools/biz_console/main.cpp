#include <cstdio>

#include <QtCore/QCoreApplication>

#include <unistd.h>

#include <biz_console/cli/command_line.h>
#include <biz_console/summary/text_output.h>
#include <biz_console/verbs/verbs.h>
#include <biz_console/verdict/run_report.h>
#include <common/errors.h>
#include <common/files/standard_streams.h>
#include <common/shown_text.h>
#include <common/suggestion.h>

namespace {

using namespace biz::console;

constexpr Verb verbs[] = {
    {"run", "SESSION.json --device URL", "plays a session against one device", runDevice},
    {"send", "--device URL HEAD", "gives one command and tells what became of it", runSend},
    {"osd", "SESSION.json", "plays a session against many OSD devices at once", runOsd},
    {"serve", "--device URL", "takes commands as JSON lines, for other programs", runServe},
    {"replay", "FILE", "plays a recording again and compares", runReplay},
    {"show", "FILE", "prints a recording, --json output or a log", runShow},
    {"report", "FILE...", "makes a page that shows what happened", runReport},
    {"log", "[FILE...]", "explains the lines of error logs", runLog},
    {"check", "MODEL HEAD PAYLOAD", "judges one reply without a device", runCheck},
    {"ports", "", "lists the serial ports of this machine", runPorts},
    {"rules", "MODEL", "prints a model's reply rules in words", runRules},
};

QStringList verbNames()
{
    QStringList names{QStringLiteral("help")};
    for (const Verb &verb : verbs) {
        names.append(QString::fromLatin1(verb.name));
    }
    return names;
}

/** Throws UsageError. */
const Verb &verbNamed(const QString &name)
{
    for (const Verb &verb : verbs) {
        if (name == QLatin1String(verb.name)) {
            return verb;
        }
    }
    throw biz::tools::UsageError(QStringLiteral("there is no command '%1'").arg(name) +
                                 biz::tools::suggestionFor(name, verbNames()));
}

void printHelp(QTextStream &out)
{
    constexpr int nameWidth = 8;
    constexpr int argumentsWidth = 28;
    out << "Usage: biz_console COMMAND [options]\n"
           "Drives display devices through libBIZ_Manage and reports what happens.\n\n"
           "Commands:\n";
    for (const Verb &verb : verbs) {
        out << "  " << QString::fromLatin1(verb.name).leftJustified(nameWidth)
            << QString::fromLatin1(verb.arguments).leftJustified(argumentsWidth) << verb.purpose << '\n';
    }
    out << "\n"
           "  biz_console help COMMAND shows the options of a command; --version the version.\n\n"
           "Exit status: 0 all as expected, 1 not all as expected, 2 bad usage or bad input,\n"
           "3 the device cannot be reached or closed the link.\n";
}

/** "help" alone, or "help VERB". */
int help(const QStringList &arguments, const Output &output)
{
    if (arguments.isEmpty()) {
        printHelp(output.out);
        return AsExpected;
    }
    if (arguments.size() > 1) {
        throw biz::tools::UsageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)));
    }
    if (arguments.first() == QLatin1String("help")) {
        return help({}, output);
    }
    return verbNamed(arguments.first()).run({QStringLiteral("--help")}, output);
}

int dispatch(const QStringList &arguments, const Output &output)
{
    if (arguments.isEmpty()) {
        throw biz::tools::UsageError(QStringLiteral("a command is missing"));
    }
    const QString &first = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        return help(rest, output);
    }
    if ((first == QLatin1String("--version") || first == QLatin1String("-v")) && rest.isEmpty()) {
        printVersion(output.out);
        return AsExpected;
    }
    return verbNamed(first).run(rest, output);
}

/** The status of a command whose output is to be whole: what nobody could read is not as expected. */
int statusOf(int status, const Output &output)
{
    output.out.flush();
    if (status == AsExpected && hasFailed(output.out)) {
        output.err << "biz_console: " << biz::tools::outputFailedText() << '\n';
        return NotAsExpected;
    }
    return status;
}

/** Where the help is that a wrong command line needs: that of its verb, if it has one. */
QString helpFor(const QStringList &arguments)
{
    const bool hasVerb = !arguments.isEmpty() && verbNames().mid(1).contains(arguments.first());
    return QStringLiteral("Try 'biz_console %1--help'.\n")
        .arg(hasVerb ? arguments.first() + QLatin1Char(' ') : QString());
}

} // namespace

int main(int argc, char **argv)
{
    biz::tools::guardStandardStreams();
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const Output output{out, err, isatty(STDOUT_FILENO) == 1};
    try {
        return statusOf(dispatch(arguments, output), output);
    } catch (const biz::tools::UsageError &error) {
        err << "biz_console: " << error.text() << '\n' << helpFor(arguments);
    } catch (const biz::tools::InputError &error) {
        for (const QString &problem : error.problems()) {
            err << "biz_console: " << problem << '\n';
        }
    } catch (const std::exception &error) {
        err << "biz_console: " << biz::tools::shownText(QString::fromUtf8(error.what())) << '\n';
    }
    return BadInput;
}
