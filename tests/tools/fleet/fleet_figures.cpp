// Measures a fleet on devices that echo, and prints what it measured:
//
//     fleet_figures CONSOLE load DEVICES SECONDS     each device gets one command a second
//     fleet_figures CONSOLE kills DEVICES COMMANDS   five a second, while random workers are killed
//
// It fails when a command has not exactly one end, or reached its device though its end says that it was not written.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>

#include <host/device_fleet.h>

#include <unistd.h>

#include <tools/support/echoing_devices.h>
#include <tools/support/figures.h>

namespace {

using namespace biz::host;
using namespace biz::test;

constexpr int tickMs = 5;
constexpr int lookMs = 100;
constexpr int killPeriodMs = 1000;
constexpr double killedRate = 5.0;   ///< commands a second of each device while workers are killed
constexpr int disturbedForMs = 3000; ///< a device whose worker has died is none of the others for so long
constexpr int rounds =
    5; ///< each one a quiet fifth and a disturbed rest, since other work on the machine comes and goes
constexpr double quietShare = 0.2;
constexpr int patienceMs = 120'000;
constexpr int allFine = 0;
constexpr int broken = 1;

/** A fleet on the devices of another process. */
class Stage
{
public:
    Stage(const QString &console, int devices)
        : m_fleet(m_folder.filePath(QStringLiteral("fleet")))
    {
        qputenv("PATH", QFile::encodeName(QFileInfo(console).absolutePath()) + ':' + qgetenv("PATH"));
        DeviceSettings settings;
        settings.link = QUrl(m_devices.url());
        settings.whileDown = WhileDown::Hold;
        for (int number = 0; number < devices; ++number) {
            m_names.append(QStringLiteral("device-%1").arg(number));
            if (!m_fleet.add(m_names.last(), settings)) {
                qFatal("%s", qPrintable(m_fleet.errorString()));
            }
        }
        waitUntil([this] {
            return std::all_of(m_names.begin(), m_names.end(),
                               [this](const QString &name) { return m_fleet.linkStatus(name).state == LinkState::Up; });
        });
        QObject::connect(
            &m_fleet, &DeviceFleet::ended, &m_fleet,
            [this](const QString &name, Ticket ticket, const CommandResult &result) { onEnded(name, ticket, result); });
        m_clock.start();
    }

    /** Gives `commands` at this rate of each device, evenly. */
    void run(int commands, double perSecond)
    {
        const int before = m_given;
        const auto givenPerSecond = perSecond * static_cast<double>(m_names.size());
        QElapsedTimer since;
        since.start();
        QTimer tick;
        tick.setTimerType(Qt::PreciseTimer);
        QObject::connect(&tick, &QTimer::timeout, &m_fleet, [&] {
            const double due = static_cast<double>(since.elapsed()) / 1000.0 * givenPerSecond;
            while (m_given - before < std::min(static_cast<int>(due), commands)) {
                give(m_names.at(m_given % m_names.size()));
            }
        });
        tick.start(tickMs);
        const double expectedMs = commands * 1000.0 / givenPerSecond;
        waitUntil([&] { return m_given - before == commands; }, patienceMs + static_cast<int>(expectedMs));
        tick.stop();
        waitUntil([this] { return m_ended.size() == m_commands.size(); });
    }

    void killAtRandom()
    {
        const QString name = m_names.at(static_cast<int>(m_random() % static_cast<unsigned>(m_names.size())));
        const auto worker = static_cast<pid_t>(m_fleet.workerProcessId(name));
        if (worker > 0) {
            ::kill(worker, SIGKILL);
            m_killedAt[name] = m_clock.elapsed();
            ++kills;
        }
    }

    std::vector<qint64> workers() const
    {
        std::vector<qint64> all;
        for (const QString &name : m_names) {
            all.push_back(m_fleet.workerProcessId(name));
        }
        return all;
    }

    /** Numbers of commands whose ends are wrong: none, many, or that the device says otherwise. */
    int wrong()
    {
        std::map<int, int> writes = m_devices.takeWrites();
        int count = 0;
        for (const auto &command : m_commands) {
            const auto ends = m_ended.find(command.first);
            const bool isRight = ends != m_ended.end() && ends->second.times == 1 &&
                                 writes[command.second.number] <= ends->second.attempts;
            count += isRight ? 0 : 1;
        }
        return count;
    }

    int ended() const { return static_cast<int>(m_ended.size()); }

    /** Where the times of what ends from now on go. */
    void measureInto(Sample *whole, Sample *added)
    {
        m_whole = whole;
        m_added = added;
    }

    static bool waitUntil(const std::function<bool()> &condition, int milliseconds = patienceMs)
    {
        QElapsedTimer clock;
        clock.start();
        QTimer wakeUp;
        wakeUp.start(lookMs);
        while (!condition() && clock.elapsed() < milliseconds) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return condition();
    }

    int kills = 0;
    std::map<QString, int> outcomes;

private:
    struct Command
    {
        int number = 0;
        qint64 givenAtNs = 0;
        bool isOfOthers = true; ///< its device's worker has not died lately
    };
    struct End
    {
        int times = 0;
        int attempts = 0;
    };

    void give(const QString &name)
    {
        const int number = ++m_given;
        model_Protocoldata command = makeCommand(0x68, 0x12, QByteArray::number(number));
        command.iWaitTime = 5000; // no device is silent
        const qint64 now = m_clock.nsecsElapsed();
        const Ticket ticket = m_fleet.enqueue(name, command);
        if (ticket == 0) {
            qFatal("%s", qPrintable(m_fleet.errorString()));
        }
        m_commands[ticket] = {number, now, isUndisturbed(name)};
    }

    bool isUndisturbed(const QString &name) const
    {
        const auto killed = m_killedAt.find(name);
        return killed == m_killedAt.end() ||
               (m_clock.elapsed() - killed->second > disturbedForMs && m_fleet.linkStatus(name).state == LinkState::Up);
    }

    void onEnded(const QString &name, Ticket ticket, const CommandResult &result)
    {
        End &end = m_ended[ticket];
        ++end.times;
        end.attempts = result.attempts;
        ++outcomes[outcomeName(result.outcome)];
        const Command &command = m_commands[ticket];
        if (result.outcome == Outcome::Answered && command.isOfOthers && isUndisturbed(name) && m_whole != nullptr) {
            const double wholeMs = static_cast<double>(m_clock.nsecsElapsed() - command.givenAtNs) / 1e6;
            m_whole->add(wholeMs);
            m_added->add(wholeMs - result.history.last().atMs);
        }
    }

    const QTemporaryDir m_folder;
    EchoingDevices m_devices;
    DeviceFleet m_fleet;
    QStringList m_names;
    QElapsedTimer m_clock;
    std::mt19937 m_random{std::random_device()()};
    int m_given = 0;
    std::map<Ticket, Command> m_commands;
    std::map<Ticket, End> m_ended;
    std::map<QString, qint64> m_killedAt;
    Sample *m_whole = nullptr;
    Sample *m_added = nullptr;
};

int load(const QString &console, int devices, int seconds)
{
    Stage stage(console, devices);
    Sample whole;
    Sample added;
    stage.measureInto(&whole, &added);
    const std::vector<qint64> workers = stage.workers();
    const double cpuBefore = cpuSeconds(getpid()) + cpuSecondsOf(workers);
    QElapsedTimer clock;
    clock.start();
    stage.run(devices * seconds, 1.0);
    const double cpuAfter = cpuSeconds(getpid()) + cpuSecondsOf(workers);
    const double cores = (cpuAfter - cpuBefore) * 1000.0 / static_cast<double>(clock.elapsed());
    Sample pss;
    for (const qint64 worker : workers) {
        pss.add(pssMegabytes(worker));
    }
    std::printf("devices                      %8d\n", devices);
    std::printf("commands                     %8d, answered %d\n", devices * seconds, stage.outcomes["answered"]);
    std::printf("processor, cores             %8.2f   workers and application, of %d\n", cores,
                static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
    std::printf("memory of a worker (PSS), MB %8.2f   at most %.2f, all %.0f\n", pss.median(), pss.largest(),
                pss.sum());
    std::printf("delay added, ms              %8.2f   median; p99 %.2f\n", added.median(), added.p99());
    std::printf("from enqueue to end, ms      %8.2f   median; p99 %.2f\n", whole.median(), whole.p99());
    return stage.wrong() == 0 && stage.outcomes["answered"] == devices * seconds ? allFine : broken;
}

int kills(const QString &console, int devices, int commands)
{
    Stage stage(console, devices);
    Sample wholeQuiet;
    Sample wholeDuring;
    Sample added;
    const int quiet = static_cast<int>(commands / rounds * quietShare);
    QTimer killer;
    QObject::connect(&killer, &QTimer::timeout, &killer, [&stage] { stage.killAtRandom(); });
    for (int round = 0; round < rounds; ++round) {
        stage.measureInto(&wholeQuiet, &added);
        stage.run(quiet, killedRate);
        stage.measureInto(&wholeDuring, &added);
        killer.start(killPeriodMs);
        stage.run(commands / rounds - quiet, killedRate);
        killer.stop();
    }
    const int wrong = stage.wrong();
    std::printf("workers %d, commands %d, kills %d\n", devices, commands, stage.kills);
    for (const auto &outcome : stage.outcomes) {
        std::printf("  %-14s %8d\n", qPrintable(outcome.first), outcome.second);
    }
    std::printf("without exactly one end, or written though the end says not: %d\n", wrong);
    std::printf("others, from enqueue to end, ms   quiet: median %.2f p99 %.2f   while killed: median %.2f p99 %.2f\n",
                wholeQuiet.median(), wholeQuiet.p99(), wholeDuring.median(), wholeDuring.p99());
    std::printf("others, while killed to quiet:    median %.2f, p99 %.2f\n", wholeDuring.median() / wholeQuiet.median(),
                wholeDuring.p99() / wholeQuiet.p99());
    return wrong == 0 && stage.kills > 0 && stage.ended() == commands ? allFine : broken;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("devices")) {
        return EchoingDevices::serve();
    }
    if (arguments.size() == 5 && arguments.at(2) == QLatin1String("load")) {
        return load(arguments.at(1), arguments.at(3).toInt(), arguments.at(4).toInt());
    }
    if (arguments.size() == 5 && arguments.at(2) == QLatin1String("kills")) {
        return kills(arguments.at(1), arguments.at(3).toInt(), arguments.at(4).toInt());
    }
    std::fputs("fleet_figures CONSOLE load DEVICES SECONDS | kills DEVICES COMMANDS\n", stderr);
    return 2;
}
