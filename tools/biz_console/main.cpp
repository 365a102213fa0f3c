#include <cstdio>

#include <QtCore/QCoreApplication>

#include <unistd.h>

#include <biz_console/cli/command_line.h>
#include <biz_console/verbs/verbs.h>
#include <common/errors.h>

namespace {

using namespace biz::console;

constexpr Verb verbs[] = {
    {"run", "SESSION.json --device URL", "plays a session against one device", runDevice},
    {"send", "--device URL HEAD", "gives one command and tells what became of it", runSend},
    {"osd", "SESSION.json", "plays a session against many OSD devices at once", runOsd},
    {"replay", "FILE", "plays a recording again and compares", runReplay},
    {"log", "[FILE...]", "explains the lines of error logs", runLog},
    {"check", "MODEL HEAD PAYLOAD", "judges one reply without a device", runCheck},
    {"ports", "", "lists the serial ports of this machine", runPorts},
    {"rules", "MODEL", "prints a model's reply rules in words", runRules},
};

const Verb *verbNamed(const QString &name)
{
    for (const Verb &verb : verbs) {
        if (name == QLatin1String(verb.name)) {
            return &verb;
        }
    }
    return nullptr;
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
           "  biz_console COMMAND --help shows the options of a command; --version the version.\n\n"
           "Exit status: 0 all as expected, 1 not all as expected, 2 bad usage or bad input,\n"
           "3 the device cannot be reached or closed the link.\n";
}

int dispatch(const QStringList &arguments, const Output &output)
{
    if (arguments.isEmpty()) {
        throw biz::tools::UsageError(QStringLiteral("a command is missing"));
    }
    const QString &first = arguments.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h")) {
        printHelp(output.out);
        return AsExpected;
    }
    if (first == QLatin1String("--version") || first == QLatin1String("-v")) {
        printVersion(output.out);
        return AsExpected;
    }
    const Verb *verb = verbNamed(first);
    if (verb == nullptr) {
        throw biz::tools::UsageError(QStringLiteral("there is no command '%1'").arg(first));
    }
    return verb->run(arguments.mid(1), output);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const Output output{out, err, isatty(STDOUT_FILENO) == 1};
    try {
        return dispatch(QCoreApplication::arguments().mid(1), output);
    } catch (const biz::tools::UsageError &error) {
        err << "biz_console: " << error.text() << "\nTry 'biz_console --help'.\n";
    } catch (const std::exception &error) {
        err << "biz_console: " << QString::fromUtf8(error.what()) << '\n';
    }
    return BadInput;
}
