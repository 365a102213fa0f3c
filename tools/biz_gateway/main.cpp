#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <biz_gateway/config/config_reader.h>
#include <biz_gateway/gateway/gateway.h>
#include <biz_gateway/service/reload_signal.h>
#include <biz_gateway/service/service_manager.h>
#include <common/errors.h>
#include <common/files/standard_streams.h>
#include <common/option_errors.h>
#include <common/stop_signals.h>

namespace {

using namespace biz::gateway;
using biz::tools::InputError;
using biz::tools::UsageError;

enum ExitStatus {
    Success = 0,
    JournalFailed = 1,
    OutputFailed = 1,
    BadUsage = 2,
    TakenOver = 3,
};

struct Options
{
    QString text; ///< to be printed instead of serving, unless it is empty
    QString configFile;
    QString stateFolder;
    bool onlyChecks = false;
};

// It may run on any thread: it prints and does nothing else. The library's traces are for who looks for a fault in it.
void printMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &message)
{
    if (type != QtDebugMsg) {
        const QByteArray line = "biz_gateway: " + message.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
    }
}

int fail(ExitStatus status, const QString &message)
{
    for (const QString &line : message.split(QLatin1Char('\n'))) {
        qCritical("%s", qUtf8Printable(line));
    }
    return status;
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Serves the devices of a site to clients of an MQTT 5 broker.\n"
        "SIGHUP reads the configuration again; SIGTERM ends every command and the gateway.\n"
        "Exit status: 0 it was asked to end, 1 the journal cannot be used, 2 bad usage or configuration,\n"
        "3 another client has taken the gateway's client id."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(
        {QStringLiteral("config"), QStringLiteral("The configuration, required."), QStringLiteral("FILE")});
    parser.addOption({QStringLiteral("state"),
                      QStringLiteral("The folder of the journal and of the devices' error logs; by default that of "
                                     "$STATE_DIRECTORY, else /var/lib/biz-gateway."),
                      QStringLiteral("FOLDER")});
    parser.addOption(
        {QStringLiteral("check"), QStringLiteral("Reads the configuration, says what is wrong, and ends.")});
}

QString defaultStateFolder()
{
    const QString folder = qEnvironmentVariable("STATE_DIRECTORY");
    return folder.isEmpty() ? QStringLiteral("/var/lib/biz-gateway") : folder;
}

Options readOptions()
{
    Options options;
    QCommandLineParser parser;
    describe(parser);
    const QStringList arguments = QCoreApplication::arguments();
    if (!parser.parse(arguments)) {
        throw UsageError(biz::tools::optionError(parser, arguments));
    }
    if (parser.isSet(QStringLiteral("help"))) {
        options.text = parser.helpText();
        return options;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        options.text = QStringLiteral("biz_gateway %1\n").arg(QStringLiteral(BIZ_GATEWAY_VERSION));
        return options;
    }
    if (!parser.positionalArguments().isEmpty()) {
        throw UsageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    }
    options.configFile = parser.value(QStringLiteral("config"));
    if (options.configFile.isEmpty()) {
        throw UsageError(QStringLiteral("--config with a file expected"));
    }
    const QString state = parser.value(QStringLiteral("state"));
    options.stateFolder = state.isEmpty() ? defaultStateFolder() : state;
    options.onlyChecks = parser.isSet(QStringLiteral("check"));
    return options;
}

GatewayConfig readConfig(const QString &file)
{
    return readGatewayConfig(biz::tools::readInputFile(file), QFileInfo(file).absolutePath());
}

/** What is wrong is told, and the devices stay as they are. */
void reload(Gateway *gateway, ServiceManager *manager, const QString &configFile)
{
    manager->tellReloading();
    try {
        for (const QString &problem : gateway->reload(readConfig(configFile))) {
            qWarning("%s", qUtf8Printable(problem));
        }
        qInfo("the configuration was read again");
    } catch (const InputError &error) {
        fail(BadUsage, error.text());
        qWarning("the configuration stays as it was");
    }
    manager->tellReady();
}

void connectManager(Gateway *gateway, ServiceManager *manager)
{
    QObject::connect(gateway, &Gateway::online, manager, [manager] {
        qInfo("connected to the broker");
        manager->tellStatus(QStringLiteral("connected to the broker"));
    });
    QObject::connect(gateway, &Gateway::offline, manager, [manager](const QString &reason) {
        qWarning("not connected to the broker: %s", qUtf8Printable(reason));
        manager->tellStatus(QStringLiteral("not connected to the broker: ") + reason);
    });
}

int serve(const Options &options, const GatewayConfig &config)
{
    const biz::tools::StopSignals stopSignals;
    const ReloadSignal reloadSignal;
    if (!QDir().mkpath(options.stateFolder)) {
        return fail(JournalFailed, QStringLiteral("the folder %1 cannot be made").arg(options.stateFolder));
    }
    ServiceManager manager;
    try {
        Gateway gateway(config, options.stateFolder);
        connectManager(&gateway, &manager);
        QObject::connect(&gateway, &Gateway::ended, &gateway, [] { QCoreApplication::exit(Success); });
        QObject::connect(&gateway, &Gateway::takenOver, &gateway, [&config] {
            fail(TakenOver, QStringLiteral("another client has taken the client id %1, or serves the site %2: this "
                                           "gateway ends")
                                .arg(config.broker.clientId, config.site));
            QCoreApplication::exit(TakenOver);
        });
        QObject::connect(&stopSignals, &biz::tools::StopSignals::stopRequested, &gateway, [&gateway, &manager] {
            manager.tellStopping();
            gateway.stop();
        });
        QObject::connect(&reloadSignal, &ReloadSignal::reloadRequested, &gateway,
                         [&gateway, &manager, &options] { reload(&gateway, &manager, options.configFile); });
        gateway.start();
        manager.tellReady();
        return QCoreApplication::exec();
    } catch (const JournalError &error) {
        return fail(JournalFailed, error.text());
    }
}

} // namespace

int main(int argc, char **argv)
{
    biz::tools::guardStandardStreams();
    qInstallMessageHandler(printMessage);
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(BIZ_GATEWAY_VERSION));
    try {
        const Options options = readOptions();
        if (!options.text.isEmpty()) {
            return biz::tools::printText(options.text) ? Success : fail(OutputFailed, biz::tools::outputFailedText());
        }
        const GatewayConfig config = readConfig(options.configFile);
        return options.onlyChecks ? Success : serve(options, config);
    } catch (const UsageError &error) {
        return fail(BadUsage, error.text());
    } catch (const InputError &error) {
        return fail(BadUsage, error.text());
    }
}
