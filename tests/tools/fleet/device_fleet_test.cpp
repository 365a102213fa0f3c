#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QThread>

#include <host/event_log.h>
#include <host/frame_codec.h>
#include <host/metrics.h>
#include <host/support/on_thread.h>
#include <host/support/thread_sanitizer.h>

#include "fleet_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class Fleet : public FleetFixture
{
protected:
    /** Why an enqueue is refused. */
    Error refusalOf(const QString &name, const QByteArray &payload = {})
    {
        return fleet->enqueue(name, makeCommand(0x68, 0x12, payload)) == 0 ? fleet->error() : Error::None;
    }

    Error refusalOf(const model_Protocoldata &command, const CommandOptions &options)
    {
        return fleet->enqueue("slow", command, options) == 0 ? fleet->error() : Error::None;
    }

    Error refusalOfAdd(const QString &name, const DeviceSettings &settings)
    {
        return fleet->add(name, settings) ? Error::None : fleet->error();
    }

    /** A worker that never begins to serve. */
    static DeviceSettings silentWorker()
    {
        DeviceSettings settings;
        settings.program = "/bin/sleep";
        settings.arguments = QStringList{"60"};
        return settings;
    }

    static DeviceSettings onLoopback()
    {
        DeviceSettings settings;
        settings.link = QUrl("tcp://127.0.0.1:1");
        return settings;
    }
};

} // namespace

TEST_F(Fleet, EachCommandReachesItsDeviceAndEndsWithItsReply)
{
    addDevice("hall", [](FakeDevice &self, model_Protocoldata command) {
        command.baData = "from the hall";
        self.send(command);
    });
    addDevice("yard");
    const Ticket inHall = give("hall");
    const Ticket inYard = give("yard");
    ASSERT_TRUE(waitForEnd(inHall) && waitForEnd(inYard));
    EXPECT_EQ(outcomeOf(inHall), "answered");
    EXPECT_EQ(endOf(inHall).reply.baData, "from the hall");
    EXPECT_EQ(endOf(inHall).attempts, 1);
    EXPECT_GE(endOf(inHall).roundTripMs, 0.0);
    EXPECT_FALSE(endOf(inHall).history.isEmpty());
    EXPECT_EQ(endOf(inYard).reply.baData, "payload");
}

TEST_F(Fleet, CommandsWaitForTheirWorker)
{
    addDeviceToCome("hall");
    EXPECT_EQ(waitForOutcome(give("hall")), "answered");
}

TEST_F(Fleet, ALinkIsConnectingBeforeItIsUp)
{
    addDevice("hall");
    ASSERT_TRUE(waitFor([this] { return links["hall"].back().state == LinkState::Up; }));
    EXPECT_EQ(links["hall"].front().state, LinkState::Connecting);
}

TEST_F(Fleet, SentIsToldWithTheCommand)
{
    QString told;
    QObject::connect(fleet.get(), &DeviceFleet::sent, fleet.get(),
                     [&told](const QString &name, Ticket, int attempt, const model_Protocoldata &command) {
                         told = name + QString::number(attempt) + QString::fromLatin1(command.baData);
                     });
    addDevice("hall");
    ASSERT_TRUE(waitForEnd(give("hall")));
    EXPECT_EQ(told, "hall1payload");
}

TEST_F(Fleet, ARejectedReplyIsToldAndInTheLogOfItsDevice)
{
    QString broken;
    QObject::connect(fleet.get(), &DeviceFleet::rejected, fleet.get(),
                     [&broken](const QString &, Ticket, const model_Protocoldata &, const ReplyJudgement &judgement) {
                         broken = judgement.broken;
                     });
    DeviceSettings settings;
    settings.model = "A2";
    addDevice("hall", FakeDevice::answerShort, settings);
    model_Protocoldata command = makeCommand(0xF1, 0x05);
    command.iWaitTime = 100;
    const Ticket ticket = fleet->enqueue("hall", command);
    given.insert(ticket);
    EXPECT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_TRUE(broken.contains("129")) << broken.toStdString();
    EXPECT_FALSE(QDir(folder.path("fleet/hall/Errorlog")).entryList(QDir::Files).isEmpty());
    EXPECT_EQ(fleet->counters("hall").rejected, 2U); // to the command and to its resend
}

TEST_F(Fleet, AReplyThatBelongsToNoCommandShowsThatTheDeviceIsThere)
{
    addDevice("hall", [](FakeDevice &device, const model_Protocoldata &) { device.send(makeCommand(0x11, 0x22)); });
    ASSERT_TRUE(waitForEnd(give("hall", 100)));
    ASSERT_GT(fleet->counters("hall").foreign, 0U);
    EXPECT_GT(fleet->counters("hall").lastSeenUtcMs, 0);
}

TEST_F(Fleet, ACommandIsCancelledWhetherItsWorkerHasItOrNot)
{
    addDevice("hall", FakeDevice::stayAway);
    const Ticket given1 = give("hall");
    EXPECT_TRUE(fleet->cancel(given1));
    EXPECT_EQ(waitForOutcome(given1), "cancelled");
    EXPECT_FALSE(fleet->cancel(given1));

    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    const Ticket held = give("slow");
    EXPECT_TRUE(fleet->cancel(held));
    ASSERT_EQ(waitForOutcome(held), "cancelled");
    EXPECT_EQ(endOf(held).attempts, 0);
}

TEST_F(Fleet, AClearEndsWhatIsPending)
{
    addDevice("hall", FakeDevice::stayAway);
    const Ticket first = give("hall");
    const Ticket second = give("hall");
    EXPECT_TRUE(fleet->clear("hall"));
    ASSERT_TRUE(waitForEnd(first) && waitForEnd(second));
    EXPECT_EQ(outcomeOf(first), "cleared");
    EXPECT_EQ(outcomeOf(second), "cleared");
}

TEST_F(Fleet, ASupersededCommandNamesTheOneThatTookItsPlace)
{
    addDevice("hall", FakeDevice::stayAway);
    CommandOptions options;
    options.replaceKey = "brightness";
    give("hall");
    const Ticket old = give("hall", 20000, options);
    const Ticket latest = give("hall", 20000, options);
    ASSERT_EQ(waitForOutcome(old), "superseded");
    EXPECT_EQ(endOf(old).supersededBy, latest);
}

TEST_F(Fleet, OfCommandsWithOneReplaceKeyOnlyTheNewestWaitsForAWorker)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    CommandOptions options;
    options.replaceKey = "brightness";
    const Ticket first = give("slow", 20000, options);
    const Ticket second = give("slow", 20000, options);
    for (int further = 0; further < DeviceFleet::mostPending; ++further) {
        give("slow", 20000, options);
    }
    EXPECT_EQ(fleet->pending("slow"), 1);
    ASSERT_EQ(waitForOutcome(first), "superseded");
    EXPECT_EQ(endOf(first).supersededBy, second);
}

TEST_F(Fleet, TheNewestIsTakenInPlaceOfTheOneBeforeItAlsoWhenNoMoreMayBePending)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    CommandOptions options;
    options.replaceKey = "brightness";
    give("slow", 20000, options);
    for (int others = 1; others < DeviceFleet::mostPending; ++others) {
        give("slow");
    }
    EXPECT_EQ(refusalOf("slow"), Error::TooManyPending);
    give("slow", 20000, options);
    EXPECT_EQ(fleet->pending("slow"), DeviceFleet::mostPending);
}

TEST_F(Fleet, TheNewestOfAReplaceKeyLeavesInThePlaceOfTheOneBeforeIt)
{
    QList<QByteArray> heard;
    addDeviceToCome("hall", [&heard](FakeDevice &self, const model_Protocoldata &command) {
        heard.append(command.baData);
        self.send(command);
    });
    CommandOptions options;
    options.replaceKey = "brightness";
    given.insert(fleet->enqueue("hall", makeCommand(0x68, 0x12, "old"), options));
    given.insert(fleet->enqueue("hall", makeCommand(0x68, 0x12, "other")));
    given.insert(fleet->enqueue("hall", makeCommand(0x68, 0x12, "new"), options));
    ASSERT_TRUE(waitFor([this] { return ends.size() == given.size(); }));
    EXPECT_EQ(heard, (QList<QByteArray>{"new", "other"}));
}

TEST_F(Fleet, ACommandExpiresWhileItsWorkerIsNotThereYet)
{
    addDeviceToCome("hall");
    CommandOptions options;
    options.validFor = std::chrono::milliseconds(1);
    const Ticket ticket = give("hall", 20000, options);
    EXPECT_EQ(waitForOutcome(ticket), "expired");
    EXPECT_TRUE(endOf(ticket).reason.contains("before its worker took it")) << qPrintable(endOf(ticket).reason);
    EXPECT_EQ(devices["hall"]->commands(), 0);
}

TEST_F(Fleet, CountersAddUp)
{
    addDevice("hall");
    ASSERT_TRUE(waitForEnd(give("hall")));
    ASSERT_TRUE(waitForEnd(give("hall")));
    const Counters totals = fleet->counters("hall");
    EXPECT_EQ(totals.enqueued, 2U);
    EXPECT_EQ(totals.answered, 2U);
    EXPECT_EQ(totals.sent, 2U);
    EXPECT_EQ(totals.queueLength, 0);
    EXPECT_GE(totals.roundTripMedianMs, 0.0);
}

TEST_F(Fleet, MetricsHaveEachDeviceByItsName)
{
    addDevice("hall");
    addDevice("lobby");
    const Ticket ticket = give("hall");
    ASSERT_TRUE(waitForEnd(ticket));
    const QByteArray text = metricsText(metricsOf(*fleet));
    EXPECT_TRUE(text.contains(R"(biz_commands_enqueued_total{channel="device",device="hall"} 1)"))
        << text.toStdString();
    EXPECT_TRUE(text.contains(R"(biz_commands_enqueued_total{channel="device",device="lobby"} 0)"));
    EXPECT_TRUE(text.contains(R"(biz_link_state{channel="device",device="lobby",state="up"} 1)"));
}

TEST_F(Fleet, AnEventLogHasTheEventsOfAllDevicesByTheirNames)
{
    const QString path = folder.path("events.jsonl");
    EventLog log(eventsOf(fleet.get()));
    log.writeTo(EventFile(path));
    addDevice("hall");
    addDevice("yard");
    CommandOptions options;
    options.id = "greeting";
    const Ticket ticket = give("yard", 20000, options);
    ASSERT_TRUE(waitForEnd(ticket));
    ASSERT_TRUE(log.flush(patienceMs));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList told;
    while (!file.atEnd()) {
        const QJsonObject event = QJsonDocument::fromJson(file.readLine()).object();
        if (event["id"] == "greeting") {
            EXPECT_EQ(event["device"], "yard");
            EXPECT_EQ(event["ticket"].toInt(), static_cast<int>(ticket));
            told.append(event["event"].toString());
        }
    }
    EXPECT_EQ(told, (QStringList{"given", "writing", "sent", "answered"}));
}

TEST_F(Fleet, AListenerToItsEventsMayCallIt)
{
    DeviceSettings settings;
    settings.program = "no such program";
    ASSERT_TRUE(fleet->add("hall", settings));
    ASSERT_TRUE(waitForLink("hall", LinkState::Lost));
    Ticket last = 0;
    const std::unique_ptr<EventSource> events = eventsOf(fleet.get());
    QObject::connect(events.get(), &EventSource::happened, fleet.get(), [&](const Event &event) {
        if (event.kind == EventKind::Unreachable && last == 0) {
            last = give("hall");
            EXPECT_FALSE(fleet->cancel(event.ticket)); // which has ended
            EXPECT_TRUE(fleet->remove("hall"));
        }
    });
    const Ticket first = give("hall");
    ASSERT_TRUE(waitForEnd(first) && waitFor([&] { return last != 0 && hasEnded(last); }));
    EXPECT_EQ(outcomeOf(first), "unreachable");
    EXPECT_TRUE(fleet->names().isEmpty());
}

TEST_F(Fleet, AListenerToItsEventsMayDestroyIt)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    bool isGone = false;
    const std::unique_ptr<EventSource> events = eventsOf(fleet.get());
    QObject::connect(events.get(), &EventSource::happened, fleet.get(), [&] {
        fleet.reset();
        isGone = true;
    });
    EXPECT_TRUE(fleet->clear("slow"));
    EXPECT_NE(fleet->enqueue("slow", makeCommand(0x68, 0x12)), 0U);
    EXPECT_TRUE(waitFor([&] { return isGone; }));
}

// --- What is refused ------------------------------------------------------------------------

TEST_F(Fleet, ANameThatIsNoNameOfAFolderIsRefused)
{
    for (const char *name : {"", ".", "..", ".hidden", "a/b", "a b", "-x"}) {
        EXPECT_EQ(refusalOfAdd(name, onLoopback()), Error::InvalidName) << name;
    }
    EXPECT_EQ(refusalOfAdd(QString(DeviceFleet::longestName + 1, 'a'), onLoopback()), Error::InvalidName);
    EXPECT_EQ(refusalOfAdd(QString(DeviceFleet::longestName, 'a'), onLoopback()), Error::None);
}

TEST_F(Fleet, ADeviceThatCannotBeIsRefused)
{
    EXPECT_EQ(refusalOfAdd("hall", onLoopback()), Error::None);
    EXPECT_EQ(refusalOfAdd("hall", onLoopback()), Error::NameTaken);
    EXPECT_EQ(refusalOfAdd("yard", DeviceSettings()), Error::InvalidUrl);
    DeviceSettings settings = onLoopback();
    settings.model = "A9";
    EXPECT_EQ(refusalOfAdd("yard", settings), Error::UnknownModel);
    settings = onLoopback();
    settings.defaultWaitMs = 0;
    EXPECT_EQ(refusalOfAdd("yard", settings), Error::OutOfRange);
}

TEST_F(Fleet, ACommandForAnUnknownDeviceIsRefused)
{
    EXPECT_EQ(refusalOf("nowhere"), Error::UnknownDevice);
    EXPECT_FALSE(fleet->remove("nowhere"));
}

TEST_F(Fleet, TheMostPendingCommandsAreTakenAndNoMore)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    for (int number = 0; number < DeviceFleet::mostPending; ++number) {
        give("slow");
    }
    EXPECT_EQ(refusalOf("slow"), Error::TooManyPending);
    fleet->clear("slow");
    give("slow");
}

TEST_F(Fleet, PendingPayloadIsBounded)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    const QByteArray payload(65535, 'x');
    int taken = 0;
    while (const Ticket ticket = fleet->enqueue("slow", makeCommand(0x68, 0x12, payload))) {
        given.insert(ticket);
        ++taken;
    }
    EXPECT_EQ(taken, DeviceFleet::mostPendingBytes / payload.size());
    EXPECT_EQ(fleet->error(), Error::TooManyPending);
}

TEST_F(Fleet, ThePayloadOfACommandThatHasEndedTakesNoRoom)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    const QByteArray payload(65535, 'x');
    Ticket last = 0;
    while (const Ticket ticket = fleet->enqueue("slow", makeCommand(0x68, 0x12, payload))) {
        given.insert(ticket);
        last = ticket;
    }
    ASSERT_TRUE(fleet->cancel(last));
    const Ticket next = fleet->enqueue("slow", makeCommand(0x68, 0x12, payload));
    ASSERT_NE(next, 0U) << fleet->errorString().toStdString();
    given.insert(next);
}

TEST_F(Fleet, ACommandThatFitsIntoNoLineOfItsWorkersIsRefused)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    for (const int size : {DemoFrameCodec::maxPayload + 1, 70'000, 100'000}) {
        EXPECT_EQ(refusalOf("slow", QByteArray(size, 'x')), Error::CannotEncode) << size;
    }
}

namespace {

constexpr int hourMs = 3'600'000;
constexpr int longestKey = 128;

} // namespace

TEST_F(Fleet, OptionsThatAWorkerWouldRefuseAreRefused)
{
    ASSERT_TRUE(fleet->add("slow", silentWorker()));
    const model_Protocoldata command = makeCommand(0x68, 0x12);
    model_Protocoldata patient = command;
    patient.iWaitTime = hourMs + 1;
    CommandOptions lasting;
    lasting.validFor = std::chrono::milliseconds(hourMs + 1);
    CommandOptions replacing;
    replacing.replaceKey = QString(longestKey + 1, 'k');
    EXPECT_EQ(refusalOf(patient, {}), Error::OutOfRange);
    EXPECT_EQ(refusalOf(command, lasting), Error::OutOfRange);
    EXPECT_EQ(refusalOf(command, replacing), Error::OutOfRange);
}

TEST_F(Fleet, SettingsThatAWorkerWouldRefuseAreRefused)
{
    DeviceSettings settings = onLoopback();
    settings.defaultWaitMs = hourMs + 1;
    EXPECT_EQ(refusalOfAdd("hall", settings), Error::OutOfRange);
    settings = onLoopback();
    settings.settleMs = hourMs + 1;
    EXPECT_EQ(refusalOfAdd("hall", settings), Error::OutOfRange);
}

TEST_F(Fleet, WhatTheFleetTakesAWorkerTakes)
{
    DeviceSettings settings;
    settings.defaultWaitMs = hourMs;
    settings.settleMs = hourMs;
    addDevice("hall", FakeDevice::echo, settings);
    CommandOptions options;
    options.validFor = std::chrono::milliseconds(hourMs);
    options.replaceKey = QString(longestKey, 'k');
    EXPECT_EQ(waitForOutcome(give("hall", hourMs, options)), "answered");
}

// --- Removing and ending --------------------------------------------------------------------

TEST_F(Fleet, ARemovedDevicesCommandsAreStoppedAndItsWorkerEnds)
{
    addDevice("hall", FakeDevice::stayAway);
    const qint64 worker = fleet->workerProcessId("hall");
    const Ticket ticket = give("hall");
    EXPECT_TRUE(fleet->remove("hall"));
    EXPECT_TRUE(fleet->names().isEmpty());
    EXPECT_EQ(waitForOutcome(ticket), "stopped");
    EXPECT_TRUE(waitFor([worker] { return !isRunning(worker); }, 1000));
}

TEST_F(Fleet, ANameCanBeAddedAgainAtOnce)
{
    addDevice("hall");
    EXPECT_TRUE(fleet->remove("hall"));
    addDevice("hall");
    EXPECT_EQ(waitForOutcome(give("hall")), "answered");
}

TEST_F(Fleet, ADeviceThatIsAddedAgainAtOnceConnectsWhenItsFormerWorkerHasEnded)
{
    addDevice("hall");
    kill("hall", SIGSTOP); // it ends only when it is killed
    EXPECT_TRUE(fleet->remove("hall"));
    links["hall"].clear();
    DeviceSettings settings;
    settings.link = QUrl(devices["hall"]->url());
    ASSERT_TRUE(fleet->add("hall", settings));
    EXPECT_EQ(waitForOutcome(give("hall")), "answered");
    for (const LinkStatus &status : links["hall"]) {
        EXPECT_NE(status.state, LinkState::Lost) << status.reason.toStdString();
    }
}

TEST_F(Fleet, ItGoesOnInAnotherThreadThatItWasMovedTo)
{
    if (isUnderThreadSanitizer) {
        GTEST_SKIP() << "what the fleet tells this thread is ordered by Qt's own locks";
    }
    addDevice("hall");
    QThread *const home = QThread::currentThread();
    QThread thread;
    fleet->moveToThread(&thread);
    thread.start();
    Ticket ticket = 0;
    runOnThreadOf(fleet.get(), [&] { ticket = fleet->enqueue("hall", makeCommand(0x68, 0x12)); });
    given.insert(ticket);
    EXPECT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
    runOnThreadOf(fleet.get(), [&] { fleet->moveToThread(home); });
    thread.quit();
    thread.wait();
    QCoreApplication::sendPostedEvents(); // the timers that moved come by events, which Qt leaks unsent
}

TEST_F(Fleet, AllWorkersHaveEndedWhenTheFleetIsGone)
{
    addDevice("hall");
    addDevice("yard");
    const qint64 workers[] = {fleet->workerProcessId("hall"), fleet->workerProcessId("yard")};
    kill("yard", SIGSTOP); // which cannot end when it is asked to
    fleet.reset();
    EXPECT_FALSE(isRunning(workers[0]));
    EXPECT_FALSE(isRunning(workers[1]));
}

TEST_F(Fleet, AFolderHasOneWorkerAtMost)
{
    addDevice("hall");
    DeviceFleet second(folder.path("fleet"));
    DeviceSettings settings;
    settings.link = QUrl(devices["hall"]->url());
    ASSERT_TRUE(second.add("hall", settings));
    ASSERT_TRUE(waitFor([&] { return second.linkStatus("hall").state == LinkState::Lost; }));
    EXPECT_EQ(second.linkStatus("hall").error, Error::FolderTaken);
    EXPECT_EQ(second.workerProcessId("hall"), 0);

    fleet->remove("hall");
    EXPECT_TRUE(waitFor([&] { return second.linkStatus("hall").state == LinkState::Up; }));
}
