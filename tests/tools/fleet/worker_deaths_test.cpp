#include <random>

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>

#include "fleet_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** A worker that died is started again, and a fleet's workers have ended, within this time. */
constexpr int limitMs = 1000;

class WorkerDeaths : public FleetFixture
{
protected:
    bool waitForNewWorker(const QString &name, qint64 old, int milliseconds = patienceMs)
    {
        return waitFor(
            [&] {
                const qint64 worker = fleet->workerProcessId(name);
                return worker != 0 && worker != old;
            },
            milliseconds);
    }

    bool waitForCommands(const QString &name, int count)
    {
        return waitFor([&] { return devices[name]->commands() >= count; });
    }

    static DeviceSettings lost(WhileDown whileDown)
    {
        DeviceSettings settings;
        settings.whileDown = whileDown;
        return settings;
    }
};

} // namespace

TEST_F(WorkerDeaths, CommandsEndAsInterruptedAndSayWhetherTheyMayHaveBeenWritten)
{
    addDevice("hall", FakeDevice::stayAway);
    const Ticket written = give("hall");
    const Ticket waiting = give("hall");
    ASSERT_TRUE(waitForCommands("hall", 1));
    kill("hall");
    ASSERT_TRUE(waitForEnd(written) && waitForEnd(waiting));
    EXPECT_EQ(outcomeOf(written), "interrupted");
    EXPECT_EQ(endOf(written).attempts, 1);
    EXPECT_EQ(outcomeOf(waiting), "interrupted");
    EXPECT_EQ(endOf(waiting).attempts, 0);
}

TEST_F(WorkerDeaths, ANewWorkerStartsWithinASecondAndServes)
{
    addDevice("hall");
    const qint64 old = fleet->workerProcessId("hall");
    kill("hall");
    EXPECT_TRUE(waitForNewWorker("hall", old, limitMs));
    ASSERT_TRUE(waitForLink("hall", LinkState::Up));
    EXPECT_EQ(waitForOutcome(give("hall")), "answered");
}

TEST_F(WorkerDeaths, TheLinkIsLostMeanwhileAndSaysWhy)
{
    addDevice("hall");
    kill("hall");
    ASSERT_TRUE(waitForLink("hall", LinkState::Lost));
    EXPECT_EQ(fleet->linkStatus("hall").error, Error::WorkerEnded);
    EXPECT_EQ(fleet->linkStatus("hall").reason, "the worker was killed by signal 9");
}

TEST_F(WorkerDeaths, ACommandThatIsGivenMeanwhileFailsFastOrWaits)
{
    addDevice("fast", FakeDevice::echo, lost(WhileDown::FailFast));
    addDevice("patient", FakeDevice::echo, lost(WhileDown::Hold));
    kill("fast");
    kill("patient");
    ASSERT_TRUE(waitForLink("fast", LinkState::Lost));
    const Ticket failing = give("fast");
    ASSERT_TRUE(waitForLink("patient", LinkState::Lost));
    const Ticket waiting = give("patient");
    ASSERT_TRUE(waitForEnd(failing) && waitForEnd(waiting));
    EXPECT_EQ(outcomeOf(failing), "unreachable");
    EXPECT_EQ(outcomeOf(waiting), "answered");
}

TEST_F(WorkerDeaths, AWorkerThatHangsIsKilledAndReplaced)
{
    DeviceSettings settings;
    settings.heartbeatMs = 100;
    addDevice("hall", FakeDevice::stayAway, settings);
    const Ticket ticket = give("hall");
    ASSERT_TRUE(waitForCommands("hall", 1));
    const qint64 old = fleet->workerProcessId("hall");
    kill("hall", SIGSTOP);
    EXPECT_EQ(waitForOutcome(ticket), "interrupted");
    EXPECT_EQ(fleet->linkStatus("hall").error, Error::WorkerSilent);
    EXPECT_FALSE(isRunning(old));
    EXPECT_TRUE(waitForNewWorker("hall", old));
}

TEST_F(WorkerDeaths, AWorkerThatAnswersIsLeftAlone)
{
    DeviceSettings settings;
    settings.heartbeatMs = 50;
    addDevice("hall", FakeDevice::echo, settings);
    const qint64 worker = fleet->workerProcessId("hall");
    // Many heartbeats later, which the counters are as of.
    give("hall");
    ASSERT_TRUE(waitFor([this] { return fleet->counters("hall").bytesIn > 0; }));
    const quint64 before = fleet->counters("hall").bytesOut;
    give("hall");
    ASSERT_TRUE(waitFor([&] { return fleet->counters("hall").bytesOut > before; }));
    EXPECT_EQ(fleet->workerProcessId("hall"), worker);
}

TEST_F(WorkerDeaths, CountersGoOnWithTheNextWorker)
{
    DeviceSettings settings;
    settings.heartbeatMs = 50;
    addDevice("hall", FakeDevice::echo, settings);
    ASSERT_TRUE(waitForEnd(give("hall")));
    ASSERT_TRUE(waitFor([this] { return fleet->counters("hall").bytesOut > 0; }));
    const quint64 before = fleet->counters("hall").bytesOut;
    const qint64 old = fleet->workerProcessId("hall");
    kill("hall");
    ASSERT_TRUE(waitForNewWorker("hall", old) && waitForLink("hall", LinkState::Up));
    ASSERT_TRUE(waitForEnd(give("hall")));
    EXPECT_TRUE(waitFor([&] { return fleet->counters("hall").bytesOut == 2 * before; }));
    EXPECT_EQ(fleet->counters("hall").answered, 2U);
}

TEST_F(WorkerDeaths, AProgramThatCannotBeRunIsToldOnceAndCommandsFailFast)
{
    DeviceSettings settings;
    settings.program = folder.path("no such program");
    ASSERT_TRUE(fleet->add("hall", settings));
    ASSERT_TRUE(waitForLink("hall", LinkState::Lost));
    EXPECT_EQ(fleet->linkStatus("hall").error, Error::WorkerCannotStart);
    EXPECT_TRUE(fleet->linkStatus("hall").reason.contains("no such program"));
    EXPECT_EQ(waitForOutcome(give("hall")), "unreachable");
}

TEST_F(WorkerDeaths, AFolderThatWasDeletedIsMadeAgain)
{
    addDevice("hall");
    const qint64 old = fleet->workerProcessId("hall");
    ASSERT_TRUE(QDir(folder.path("fleet/hall")).removeRecursively());
    kill("hall");
    ASSERT_TRUE(waitForNewWorker("hall", old));
    EXPECT_TRUE(waitForLink("hall", LinkState::Up));
}

TEST_F(WorkerDeaths, AFolderThatCannotBeUsedIsToldInTheSystemsWordsAndUsedWhenItCanBe)
{
    addDevice("hall");
    ASSERT_TRUE(QDir(folder.path("fleet/hall")).removeRecursively());
    QFile inItsPlace(folder.path("fleet/hall"));
    ASSERT_TRUE(inItsPlace.open(QIODevice::WriteOnly));
    kill("hall");
    ASSERT_TRUE(waitFor([this] { return fleet->linkStatus("hall").error == Error::CannotMakeFolder; }));
    EXPECT_TRUE(fleet->linkStatus("hall").reason.contains("Not a directory"))
        << fleet->linkStatus("hall").reason.toStdString();
    ASSERT_TRUE(inItsPlace.remove());
    EXPECT_TRUE(waitForLink("hall", LinkState::Up));
}

TEST_F(WorkerDeaths, AWorkerThatKeepsEndingIsStartedEverMoreRarely)
{
    const QString starts = folder.path("starts");
    const auto count = [&starts] {
        return QFileInfo(starts).size();
    };
    DeviceSettings settings;
    settings.program = "/bin/sh";
    settings.arguments = QStringList{"-c", QStringLiteral("printf x >> %1; echo why >&2; exit 3").arg(starts)};
    ASSERT_TRUE(fleet->add("hall", settings));
    ASSERT_TRUE(waitFor([&] { return count() == 1; }));
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(waitFor([&] { return count() == 4; }));
    constexpr int moreThanThreeEqualPausesMs = 500;
    EXPECT_GE(clock.elapsed(), moreThanThreeEqualPausesMs);
    EXPECT_EQ(fleet->linkStatus("hall").reason, "the worker ended with exit status 3: why");
}

TEST_F(WorkerDeaths, NoWorkerOutlivesAKilledApplication)
{
    FakeDevice hall(FakeDevice::echo);
    FakeDevice yard(FakeDevice::echo);
    QProcess application;
    application.setWorkingDirectory(folder.path());
    application.start(QStringLiteral(BIZ_FLEET_PROBE), {folder.path("probe"), hall.url(), yard.url()});
    QList<qint64> workers;
    ASSERT_TRUE(waitFor([&] {
        while (application.canReadLine()) {
            workers.append(application.readLine().trimmed().toLongLong());
        }
        return workers.size() == 2;
    }));
    ASSERT_TRUE(isRunning(workers[0]) && isRunning(workers[1]));
    ::kill(static_cast<pid_t>(workers[1]), SIGSTOP); // which does not notice the end of its input
    application.kill();
    EXPECT_TRUE(waitFor([&] { return !isRunning(workers[0]) && !isRunning(workers[1]); }, limitMs));
}

TEST_F(WorkerDeaths, EveryCommandEndsOnceWhicheverWorkersAreKilled)
{
    constexpr int workers = 10;
    constexpr int commandsOfEach = 60;
    constexpr int commandsPerKill = 25;
    for (int number = 0; number < workers; ++number) {
        addDevice(QString::number(number), FakeDevice::echo, lost(WhileDown::Hold));
    }
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::map<QString, int> left;
    for (const QString &name : fleet->names()) {
        left[name] = commandsOfEach;
        give(name);
    }
    int ended = 0;
    std::map<Outcome, int> outcomes;
    QObject::connect(fleet.get(), &DeviceFleet::ended, fleet.get(),
                     [&](const QString &name, Ticket, const CommandResult &result) {
                         ++outcomes[result.outcome];
                         if (++ended % commandsPerKill == 0) {
                             kill(QString::number(random() % workers));
                         }
                         if (--left[name] > 0) {
                             give(name);
                         }
                     });
    ASSERT_TRUE(waitFor([&] { return ended == workers * commandsOfEach; }, 3 * patienceMs));
    EXPECT_EQ(outcomes[Outcome::Answered] + outcomes[Outcome::Interrupted], ended);
    EXPECT_GT(outcomes[Outcome::Answered], ended / 2);
}
