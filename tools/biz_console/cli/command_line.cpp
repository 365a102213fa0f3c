#include <biz_console/cli/command_line.h>

#include <QtCore/QDir>

#include <biz_console/cli/trace.h>
#include <common/errors.h>
#include <common/option_errors.h>

namespace biz::console {

namespace {

/** Where the error log goes that no option says. */
constexpr char logDirVariable[] = "BIZ_LOG_DIR";

QString traceOption()
{
    return QStringLiteral("trace");
}

QString helpOption()
{
    return QStringLiteral("help");
}

QString versionOption()
{
    return QStringLiteral("version");
}

/** The parser's own text begins with the program's path and puts the options before the command. */
QString helpText(const QCommandLineParser &parser)
{
    const QString text = parser.helpText();
    const QString options = QStringLiteral("[options] ");
    const auto usage = text.indexOf(options) + options.size();
    const auto usageEnd = text.indexOf(QLatin1Char('\n'), usage);
    return QStringLiteral("Usage: biz_console %1 [options]%2")
        .arg(text.mid(usage, usageEnd - usage), text.mid(usageEnd));
}

} // namespace

void printVersion(QTextStream &out)
{
    out << "biz_console " << BIZ_CONSOLE_VERSION << '\n';
}

bool parse(QCommandLineParser &parser, const QStringList &arguments, const Output &output)
{
    parser.addOption({{QStringLiteral("h"), helpOption()}, QStringLiteral("Shows this help.")});
    parser.addOption({{QStringLiteral("v"), versionOption()}, QStringLiteral("Shows the version.")});
    const QStringList withProgram = QStringList{QStringLiteral("biz_console")} + arguments;
    if (!parser.parse(withProgram)) {
        throw tools::UsageError(tools::optionError(parser, arguments));
    }
    if (parser.isSet(helpOption())) {
        output.out << helpText(parser);
        return false;
    }
    if (parser.isSet(versionOption())) {
        printVersion(output.out);
        return false;
    }
    return true;
}

void addTraceOption(QCommandLineParser &parser)
{
    parser.addOption({traceOption(), QStringLiteral("Shows the library's debug messages on the error stream.")});
}

void obeyTraceOption(const QCommandLineParser &parser)
{
    showDebugMessages(parser.isSet(traceOption()));
}

QString logDirOption()
{
    return QStringLiteral("log-dir");
}

void addLogDirOption(QCommandLineParser &parser)
{
    parser.addOption(
        {logDirOption(),
         QStringLiteral("Rejected replies are logged below Errorlog in <folder>; that of the environment's "
                        "BIZ_LOG_DIR or the working directory by default. The folder is made when it is "
                        "missing."),
         QStringLiteral("folder")});
}

// The library writes its error log below the working directory.
void obeyLogDirOption(const QCommandLineParser &parser)
{
    const QString folder =
        parser.isSet(logDirOption()) ? parser.value(logDirOption()) : qEnvironmentVariable(logDirVariable);
    if (folder.isEmpty() && parser.isSet(logDirOption())) {
        throw tools::UsageError(
            QStringLiteral("--%1: the name of a folder expected, not an empty one").arg(logDirOption()));
    }
    if (folder.isEmpty()) {
        return;
    }
    if (!QDir().mkpath(folder) || !QDir::setCurrent(folder)) {
        throw tools::InputError(folder + QStringLiteral(": cannot be made or entered"));
    }
}

int numberOf(const QCommandLineParser &parser, const QString &option, int lowest, int highest)
{
    bool isNumber = false;
    const QString text = parser.value(option);
    const int number = text.toInt(&isNumber);
    if (!isNumber || number < lowest || number > highest) {
        throw tools::UsageError(QStringLiteral("--%1: a number from %2 to %3 expected, not '%4'")
                                    .arg(option, QString::number(lowest), QString::number(highest), text));
    }
    return number;
}

void refuseOptions(const QCommandLineParser &parser, std::initializer_list<QString> options, const char *why)
{
    for (const QString &option : options) {
        if (parser.isSet(option)) {
            throw tools::UsageError(QStringLiteral("--%1 %2").arg(option, QLatin1String(why)));
        }
    }
}

QString onlyArgument(const QCommandLineParser &parser, const QString &what)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty()) {
        throw tools::UsageError(what + QStringLiteral(" is missing"));
    }
    if (arguments.size() > 1) {
        throw tools::UsageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)));
    }
    return arguments.first();
}

} // namespace biz::console
