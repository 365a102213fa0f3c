#include <QtCore/QCoreApplication>

#include <biz_simulator/address/cannot_listen.h>
#include <biz_simulator/devices/open_files.h>
#include <biz_simulator/devices/simulation.h>
#include <biz_simulator/options/options.h>
#include <common/errors.h>
#include <common/files/standard_streams.h>
#include <common/stop_signals.h>
#include <devices/event_log_p.h>

namespace {

using namespace biz::simulator;

enum ExitStatus { Success = 0, OutputFailed = 1, BadUsage = 2, CannotBind = 3 };

int fail(ExitStatus status, const QString &message)
{
    for (const QString &line : message.split(QLatin1Char('\n'))) {
        writeLine(stderr, QStringLiteral("biz_simulator: ") + line);
    }
    return status;
}

/** Plays what the options ask for until a signal ends it. */
int play(const Options &options)
{
    try {
        allowOpenFiles(options.settings);
        const EventLog log(options.events);
        Simulation simulation(options.settings, log);
        simulation.start();
        QCoreApplication::exec();
        simulation.printSummary();
        return Success;
    } catch (const CannotListen &error) {
        return fail(CannotBind, error.text());
    }
}

} // namespace

int main(int argc, char **argv)
{
    biz::tools::guardStandardStreams();
    QCoreApplication application(argc, argv);
    CommandLine line;
    try {
        line = readCommandLine(QCoreApplication::arguments());
    } catch (const biz::tools::UsageError &error) {
        return fail(BadUsage, error.text());
    } catch (const biz::tools::InputError &error) {
        return fail(BadUsage, error.text());
    }
    if (!line.text.isEmpty()) {
        return biz::tools::printText(line.text) ? Success : fail(OutputFailed, biz::tools::outputFailedText());
    }
    // Before anything listens: whoever reads that it does may send a signal at once.
    const biz::tools::StopSignals signals;
    QObject::connect(&signals, &biz::tools::StopSignals::stopRequested, &application, &QCoreApplication::quit);
    return play(line.options);
}
