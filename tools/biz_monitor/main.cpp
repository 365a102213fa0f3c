#include <algorithm>
#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtWidgets/QApplication>

#include <biz_monitor/sources/file_source.h>
#include <biz_monitor/sources/socket_source.h>
#include <biz_monitor/window/monitor_window.h>
#include <common/errors.h>
#include <common/files/standard_streams.h>
#include <common/option_errors.h>

namespace {

using namespace biz::monitor;

enum ExitStatus { Success = 0, OutputFailed = 1, BadUsage = 2 };

/** Where the lines come from, as the command line says; null: the user will say. */
std::unique_ptr<LineSource> sourceFrom(const QCommandLineParser &parser, const QString &socketOption)
{
    const QStringList files = parser.positionalArguments();
    const bool hasSocket = parser.isSet(socketOption);
    if (files.size() + (hasSocket ? 1 : 0) > 1) {
        throw biz::tools::UsageError(QStringLiteral("one file or one socket expected"));
    }
    if (hasSocket) {
        return std::make_unique<SocketSource>(parser.value(socketOption));
    }
    if (files.isEmpty()) {
        return nullptr;
    }
    const QFileInfo file(files.front());
    if (file.isDir() || (file.exists() && !file.isReadable()) || !file.absoluteDir().exists()) {
        throw biz::tools::InputError(QStringLiteral("%1: no file that can be read").arg(files.front()));
    }
    return std::make_unique<FileSource>(files.front());
}

/** What the command line may hold. */
struct CommandLine
{
    CommandLine()
    {
        parser.setApplicationDescription(
            QStringLiteral("Shows what happens between an application and its devices: follows an event log, a file or "
                           "a local socket, or opens a recording."));
        parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Prints this help.")});
        parser.addVersionOption();
        parser.addPositionalArgument(QStringLiteral("file"),
                                     QStringLiteral("An event log, which may not be there yet, or a recording."),
                                     QStringLiteral("[FILE]"));
        parser.addOption({socketOption,
                          QStringLiteral("Follows the event log that an application serves on this local socket."),
                          QStringLiteral("name")});
    }

    const QString socketOption = QStringLiteral("socket");
    QCommandLineParser parser;
};

void nameApplication()
{
    QCoreApplication::setApplicationName(QStringLiteral("biz_monitor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BIZ_VERSION));
}

/** Whether the help or the version is all that is asked for, which needs no screen. */
bool printsOnly(int argc, char **argv)
{
    return std::any_of(argv, argv + argc, [](const char *argument) {
        const QLatin1String text(argument);
        return text == QLatin1String("--help") || text == QLatin1String("-h") || text == QLatin1String("--version") ||
               text == QLatin1String("-v");
    });
}

int print(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    nameApplication();
    CommandLine line;
    line.parser.parse(QCoreApplication::arguments());
    const QString text = line.parser.isSet(QStringLiteral("help"))
                             ? line.parser.helpText()
                             : QStringLiteral("biz_monitor %1\n").arg(QCoreApplication::applicationVersion());
    if (!biz::tools::printText(text)) {
        std::fprintf(stderr, "biz_monitor: %s\n", qUtf8Printable(biz::tools::outputFailedText()));
        return OutputFailed;
    }
    return Success;
}

/** Those that the toolkit takes out of the arguments for itself, once there is an application with a screen. */
constexpr const char *toolkitOptions[] = {
    "display",
    "dograb",
    "fontengine",
    "geometry",
    "icon",
    "name",
    "nograb",
    "platform",
    "plugin",
    "platformtheme",
    "qwindowgeometry",
    "qwindowicon",
    "qwindowtitle",
    "platformpluginpath",
    "reverse",
    "style",
    "session",
    "sync",
    "stylesheet",
    "title",
    "visual",
    "widgetcount",
};

bool isOfToolkit(const QString &argument)
{
    const QString name = argument.section(QLatin1Char('='), 0, 0);
    return std::any_of(std::begin(toolkitOptions), std::end(toolkitOptions), [&name](const char *option) {
        return name == QLatin1Char('-') + QLatin1String(option) || name == QLatin1String("--") + QLatin1String(option);
    });
}

void parse(CommandLine *line, const QStringList &arguments)
{
    if (!line->parser.parse(arguments)) {
        throw biz::tools::UsageError(biz::tools::optionError(line->parser, arguments));
    }
}

/** Before a screen is looked for, without which the toolkit aborts the program. */
void requireGoodOptions(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (std::none_of(arguments.begin(), arguments.end(), isOfToolkit)) {
        CommandLine line;
        parse(&line, arguments);
    }
}

int show(const QStringList &arguments)
{
    CommandLine line;
    parse(&line, arguments);
    MonitorWindow window;
    std::unique_ptr<LineSource> source = sourceFrom(line.parser, line.socketOption);
    if (source) {
        window.watch(std::move(source));
    }
    window.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    if (printsOnly(argc, argv)) {
        return print(argc, argv);
    }
    try {
        requireGoodOptions(argc, argv);
        const QApplication application(argc, argv);
        nameApplication();
        QApplication::setApplicationDisplayName(QStringLiteral("Device Monitor"));
        QApplication::setDesktopFileName(QStringLiteral("biz_monitor"));
        QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("biz_monitor")));
        return show(QApplication::arguments());
    } catch (const biz::tools::UsageError &error) {
        std::fprintf(stderr, "biz_monitor: %s\nTry 'biz_monitor --help'.\n", qUtf8Printable(error.text()));
    } catch (const biz::tools::InputError &error) {
        std::fprintf(stderr, "biz_monitor: %s\n", qUtf8Printable(error.text()));
    }
    return BadUsage;
}
