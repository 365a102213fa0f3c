// Measures a gateway between a broker and devices that echo, and prints what it measured:
//
//     gateway_figures load DEVICES SECONDS      each device gets one command a second
//     gateway_figures kills COMMANDS KILLS      while the broker and the gateway are killed so often each
//     gateway_figures broker MESSAGES           what a message costs the broker, which then has nothing else to do
//
// Its client does what a client has to: it repeats each command until it has the outcome. It fails when a command was
// written to its device more often than its outcome says, or when an id has two outcomes.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QTemporaryDir>

#include <tools/support/echoing_devices.h>
#include <tools/support/figures.h>

#include "mqtt_client.h"
#include "requirements.h"
#include "running_broker.h"
#include "running_gateway.h"

namespace {

using namespace biz::test;
using Clock = std::chrono::steady_clock;

constexpr int allFine = 0;
constexpr int broken = 1;
constexpr int skipped = 77;
constexpr int repeatAfterMs = 2000;
constexpr int killPeriodMs = 2000;
constexpr int devicesOfKills = 5;
constexpr int patienceOfAllMs = 120'000;

// --- The client, and what it sees -------------------------------------------------------------

/** A broker, a gateway, devices in another process, and a client that gives numbered commands. */
class Stage
{
public:
    explicit Stage(int devices)
        : m_deviceCount(devices)
        , m_broker(m_folder.path())
        , m_client(std::make_unique<MqttClient>(
              ClientSettings{m_broker.port(), {}, {}, {}, {}, QStringLiteral("biz/figures/+/+/outcome")}))
    {
        m_gateway = std::make_unique<RunningGateway>(config(), m_folder.filePath(QStringLiteral("gateway")));
        m_client->waitUntilReady();
        MqttClient watcher(
            ClientSettings{m_broker.port(), {}, {}, {}, {}, QStringLiteral("biz/figures/device/+/state")});
        for (int number = 0; number < m_deviceCount; ++number) {
            watcher.waitFor(topicOf(number, "state"), QStringLiteral("state"), QStringLiteral("up"));
        }
    }

    /** Gives so many commands at this rate, all devices together; `each` is called all the time. */
    template<typename Each>
    bool run(int commands, double perSecond, Each each)
    {
        QElapsedTimer clock;
        clock.start();
        const double expectedMs = commands * 1000.0 / perSecond;
        return waitFor(
            [&] {
                const double due = static_cast<double>(clock.elapsed()) / 1000.0 * perSecond;
                while (static_cast<int>(m_commands.size()) < std::min(static_cast<int>(due), commands)) {
                    give();
                }
                read();
                repeat();
                each(clock.elapsed());
                return static_cast<int>(m_commands.size()) == commands && m_open == 0;
            },
            patienceOfAllMs + static_cast<int>(expectedMs));
    }

    /** Repeats every command once more; all must be answered as before. */
    bool askAgain()
    {
        m_answersAgain = 0;
        constexpr int atOnce = 200;
        int next = 0;
        const int all = static_cast<int>(m_commands.size());
        return waitFor(
            [&] {
                for (; next < std::min(all, m_answersAgain + atOnce); ++next) {
                    send(next);
                }
                read();
                return m_answersAgain >= all;
            },
            patienceOfAllMs);
    }

    /** Commands that were written more often than their outcome says. */
    int writtenTooOften()
    {
        std::map<int, int> writes = m_devices.takeWrites();
        int count = 0;
        for (std::size_t number = 0; number < m_commands.size(); ++number) {
            // What a killed gateway left behind has no attempts; no device is so slow that it was resent.
            const int most = std::max(1, m_commands[number].attempts);
            const int written = writes[static_cast<int>(number)];
            count += written > most ? 1 : 0;
            resent += written == 2 ? 1 : 0;
        }
        return count;
    }

    qint64 journalBytes() const
    {
        return QFileInfo(m_folder.filePath(QStringLiteral("gateway/journal.sqlite"))).size();
    }

    RunningGateway &gateway() { return *m_gateway; }
    RunningBroker &broker() { return m_broker; }

    std::map<QString, int> outcomes;
    int differentOutcomes = 0; ///< ids with more than one
    int otherRefusals = 0;     ///< that no repeat can explain
    int repeats = 0;
    int resent = 0;
    Sample whole; ///< from publish to outcome, in ms
    Sample added; ///< without the time in the device's host

private:
    struct Command
    {
        Clock::time_point sentAt;
        Clock::time_point firstSentAt;
        QByteArray outcome;
        int attempts = 0;
        int times = 0;
    };

    QJsonObject config() const
    {
        QJsonArray devices;
        for (int number = 0; number < m_deviceCount; ++number) {
            devices.append(QJsonObject{
                {"name", QStringLiteral("device-%1").arg(number)}, {"link", m_devices.url()}, {"whileDown", "hold"}});
        }
        return {{"site", "figures"},
                {"broker", QJsonObject{{"port", m_broker.port()}}},
                {"devices", devices},
                {"client", QJsonObject{{"perSecond", 100000}, {"burst", 100000}, {"pending", 100000}}}};
    }

    static QString topicOf(int device, const char *what)
    {
        return QStringLiteral("biz/figures/device/device-%1/%2").arg(QString::number(device), QLatin1String(what));
    }

    void give()
    {
        m_commands.emplace_back();
        m_commands.back().firstSentAt = Clock::now();
        ++m_open;
        send(static_cast<int>(m_commands.size()) - 1);
    }

    void send(int number)
    {
        m_commands[static_cast<std::size_t>(number)].sentAt = Clock::now();
        const QByteArray id = QByteArray::number(number);
        m_client->publish(topicOf(number % m_deviceCount, "command"),
                          "{\"id\":\"" + id + R"(","head":"68 12 00 00 00 00","waitMs":10000,"data":")" + id.toHex() +
                              "\"}");
    }

    void read()
    {
        for (const Got &got : m_client->take()) {
            const QJsonObject json = got.json();
            Command &command = m_commands[json.value(QStringLiteral("id")).toString().toUInt()];
            if (json.value(QStringLiteral("event")) == QLatin1String("error")) {
                onRefused(json);
            } else {
                onOutcome(&command, got, json);
            }
        }
    }

    void onRefused(const QJsonObject &json)
    {
        const QString code = json.value(QStringLiteral("code")).toString();
        if (code != QLatin1String("deviceRefuses") && code != QLatin1String("noRoom")) {
            ++otherRefusals;
            std::fprintf(stderr, "%s\n", qPrintable(json.value(QStringLiteral("reason")).toString()));
        }
    }

    void onOutcome(Command *command, const Got &got, const QJsonObject &json)
    {
        ++m_answersAgain;
        if (++command->times > 1) {
            differentOutcomes += got.payload != command->outcome ? 1 : 0;
            return;
        }
        --m_open;
        command->outcome = got.payload;
        command->attempts = json.value(QStringLiteral("attempts")).toInt();
        ++outcomes[json.value(QStringLiteral("event")).toString()];
        const double wholeMs = std::chrono::duration<double, std::milli>(got.at - command->firstSentAt).count();
        const double inHostMs =
            json.value(QStringLiteral("history")).toArray().last().toObject().value(QStringLiteral("atMs")).toDouble();
        whole.add(wholeMs);
        added.add(wholeMs - inHostMs);
    }

    void repeat()
    {
        const auto due = Clock::now() - std::chrono::milliseconds(repeatAfterMs);
        for (std::size_t number = 0; m_open > 0 && number < m_commands.size(); ++number) {
            if (m_commands[number].times == 0 && m_commands[number].sentAt < due) {
                ++repeats;
                send(static_cast<int>(number));
            }
        }
    }

    const int m_deviceCount;
    const QTemporaryDir m_folder;
    EchoingDevices m_devices;
    RunningBroker m_broker;
    std::unique_ptr<MqttClient> m_client;
    std::unique_ptr<RunningGateway> m_gateway;
    std::vector<Command> m_commands;
    int m_open = 0; ///< without an outcome
    int m_answersAgain = 0;
};

// --- What is measured -------------------------------------------------------------------------

std::vector<qint64> childrenOf(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/task/%1/children").arg(process));
    std::vector<qint64> children;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &number : file.readAll().simplified().split(' ')) {
            children.push_back(number.toLongLong());
        }
    }
    return children;
}

int verdict(Stage *stage, bool isComplete)
{
    const int tooOften = stage->writtenTooOften();
    for (const auto &outcome : stage->outcomes) {
        std::printf("  %-14s %8d\n", qPrintable(outcome.first), outcome.second);
    }
    std::printf("repeated by the client       %8d\n", stage->repeats);
    std::printf("written more often than said %8d\n", tooOften);
    std::printf("ids with different outcomes  %8d\n", stage->differentOutcomes);
    std::printf("refused for no good reason   %8d\n", stage->otherRefusals);
    if (!isComplete) {
        std::printf("not every command got its outcome\n");
    }
    return isComplete && tooOften == 0 && stage->differentOutcomes == 0 && stage->otherRefusals == 0 ? allFine : broken;
}

int load(int devices, int seconds)
{
    Stage stage(devices);
    const int commands = devices * seconds;
    const qint64 gateway = stage.gateway().processId();
    const qint64 broker = stage.broker().processId();
    const std::vector<qint64> workers = childrenOf(gateway);
    const double cpuBefore = cpuSeconds(gateway);
    const double brokerBefore = cpuSeconds(broker);
    const double workersBefore = cpuSecondsOf(workers);
    const double tenth = seconds * 100.0;
    double memoryEarly = 0.0;
    QElapsedTimer clock;
    clock.start();
    const bool isComplete = stage.run(commands, devices, [&](qint64 elapsedMs) {
        if (memoryEarly == 0.0 && static_cast<double>(elapsedMs) > tenth) {
            memoryEarly = pssMegabytes(gateway);
        }
    });
    const double perSecond = 1000.0 / static_cast<double>(clock.elapsed());
    std::printf("devices %d, commands %d\n", devices, commands);
    std::printf("processor, cores             %8.2f   gateway; %.2f its workers, %.3f the broker\n",
                (cpuSeconds(gateway) - cpuBefore) * perSecond, (cpuSecondsOf(workers) - workersBefore) * perSecond,
                (cpuSeconds(broker) - brokerBefore) * perSecond);
    std::printf("memory of the gateway, MB    %8.2f   after a tenth; %.2f at the end (PSS)\n", memoryEarly,
                pssMegabytes(gateway));
    std::printf("journal, bytes for each id   %8lld\n", static_cast<long long>(stage.journalBytes() / commands));
    std::printf("from publish to outcome, ms  %8.2f   median; p99 %.2f\n", stage.whole.median(), stage.whole.p99());
    std::printf("delay added to the host, ms  %8.2f   median; p99 %.2f\n", stage.added.median(), stage.added.p99());
    const int status = verdict(&stage, isComplete);
    return stage.outcomes[QStringLiteral("answered")] == commands ? status : broken;
}

/** From one client to another, each confirmed. */
int broker(int messages)
{
    const QTemporaryDir folder;
    const RunningBroker broker(folder.path());
    ClientSettings settings;
    settings.port = broker.port();
    settings.filter = QStringLiteral("figures/#");
    MqttClient reader(settings);
    settings.filter = QStringLiteral("nothing");
    MqttClient writer(settings);
    reader.waitUntilReady();
    writer.waitUntilReady();
    constexpr int atOnce = 100;
    constexpr int payloadBytes = 500; // about that of an outcome
    const QByteArray payload(payloadBytes, 'x');
    int sent = 0;
    int got = 0;
    const double before = cpuSeconds(broker.processId());
    const bool isComplete = waitFor(
        [&] {
            got += static_cast<int>(reader.take().size());
            for (; sent < std::min(messages, got + atOnce); ++sent) {
                writer.publish(QStringLiteral("figures/message"), payload);
            }
            return got >= messages;
        },
        patienceOfAllMs);
    const double seconds = cpuSeconds(broker.processId()) - before;
    std::printf("messages                     %8d   each from one client to another, confirmed\n", got);
    std::printf("processor of the broker, us  %8.1f   for each\n", seconds * 1e6 / got);
    std::printf("messages a second            %8.0f   that a core of the broker forwards\n", got / seconds);
    return isComplete ? allFine : broken;
}

int kills(int commands, int each)
{
    Stage stage(devicesOfKills);
    int killed = 0;
    const double seconds = 2.0 * each * killPeriodMs / 1000.0;
    const bool isComplete = stage.run(commands, commands / seconds, [&](qint64 elapsedMs) {
        if (killed >= 2 * each || elapsedMs < (killed + 1LL) * killPeriodMs) {
            return;
        }
        if (killed++ % 2 == 0) {
            stage.broker().kill();
            stage.broker().start();
        } else {
            stage.gateway().kill();
            stage.gateway().start();
        }
    });
    std::printf("commands %d, broker killed %d times, gateway killed %d times\n", commands, (killed + 1) / 2,
                killed / 2);
    const bool isAnsweredAgain = isComplete && stage.askAgain();
    return verdict(&stage, isAnsweredAgain);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("devices")) {
        return EchoingDevices::serve();
    }
    if (const char *const missing = missingForGateway()) {
        std::printf("skipped: %s\n", missing);
        return skipped;
    }
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String("load")) {
        return load(arguments.at(2).toInt(), arguments.at(3).toInt());
    }
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String("kills")) {
        return kills(arguments.at(2).toInt(), arguments.at(3).toInt());
    }
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String("broker")) {
        return broker(arguments.at(2).toInt());
    }
    std::fputs("gateway_figures broker MESSAGES | load DEVICES SECONDS | kills COMMANDS KILLS\n", stderr);
    return 2;
}
