#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFileInfo>
#include <QtWidgets/QApplication>

#include <biz_monitor/sources/file_source.h>
#include <biz_monitor/sources/socket_source.h>
#include <biz_monitor/window/monitor_window.h>
#include <common/errors.h>

namespace {

using namespace biz::monitor;

enum ExitStatus { Success = 0, BadUsage = 2 };

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

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("biz_monitor"));
    QApplication::setApplicationVersion(QStringLiteral(BIZ_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("biz_monitor"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("biz_monitor")));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows what happens between an application and its devices: follows an event log, a file or a "
                       "local socket, or opens a recording."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("An event log, which may not be there yet, or a recording."),
                                 QStringLiteral("[FILE]"));
    const QString socketOption = QStringLiteral("socket");
    parser.addOption({socketOption,
                      QStringLiteral("Follows the event log that an application serves on a local socket."),
                      QStringLiteral("name")});
    parser.process(application);
    MonitorWindow window;
    try {
        std::unique_ptr<LineSource> source = sourceFrom(parser, socketOption);
        if (source) {
            window.watch(std::move(source));
        }
    } catch (const std::runtime_error &error) {
        std::fprintf(stderr, "biz_monitor: %s\n", error.what());
        return BadUsage;
    }
    window.resize(1280, 800);
    window.show();
    return QApplication::exec();
}
