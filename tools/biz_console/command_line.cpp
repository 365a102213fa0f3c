#include <biz_console/command_line.h>

#include <QtCore/QDir>

#include <biz_console/trace.h>

namespace biz::console {

namespace {

QString logDirOption()
{
    return QStringLiteral("log-dir");
}

QString traceOption()
{
    return QStringLiteral("trace");
}

QString helpOption()
{
    return QStringLiteral("help");
}

} // namespace

bool parse(QCommandLineParser &parser, const QStringList &arguments, const Output &output)
{
    parser.addOption({{QStringLiteral("h"), helpOption()}, QStringLiteral("Shows this help.")});
    const QStringList withProgram = QStringList{QStringLiteral("biz_console")} + arguments;
    const bool good = parser.parse(withProgram);
    if (parser.isSet(helpOption())) {
        output.out << parser.helpText();
        return false;
    }
    if (!good) {
        throw UsageError(parser.errorText());
    }
    return true;
}

void addRunOptions(QCommandLineParser &parser)
{
    parser.addOption({logDirOption(),
                      QStringLiteral("Rejected replies are logged below Errorlog in <folder>; the working directory "
                                     "by default. The folder is made when it is missing."),
                      QStringLiteral("folder")});
    parser.addOption({traceOption(), QStringLiteral("Shows the library's debug messages on the error stream.")});
}

void applyRunOptions(const QCommandLineParser &parser)
{
    showDebugMessages(parser.isSet(traceOption()));
    if (!parser.isSet(logDirOption())) {
        return;
    }
    // The library writes its error log below the working directory.
    const QString folder = parser.value(logDirOption());
    if (!QDir().mkpath(folder) || !QDir::setCurrent(folder)) {
        throw InputError(folder + QStringLiteral(": cannot be made or entered"));
    }
}

QString onlyArgument(const QCommandLineParser &parser, const QString &what)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty()) {
        throw UsageError(what + QStringLiteral(" is missing"));
    }
    if (arguments.size() > 1) {
        throw UsageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)));
    }
    return arguments.first();
}

} // namespace biz::console
