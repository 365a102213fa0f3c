#include "fleet_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** A worker that says what a test wants it to. */
class WorkerLines : public FleetFixture
{
protected:
    /**
     * It serves at once, says `lines` when it has got its first command, whose ticket is there as $ticket, and writes
     * down whatever it is told.
     */
    void addScripted(const QString &lines)
    {
        DeviceSettings settings;
        settings.heartbeatMs = DeviceFleet::longestMs; // so that the first line is the command's
        settings.program = "/bin/sh";
        settings.arguments =
            QStringList{"-c", "echo '{\"event\":\"start\"}'; read -r line; "
                              "ticket=$(printf %s \"$line\" | sed 's/.*\"id\":\"\\([0-9]*\\)\".*/\\1/'); "
                              "printf '%s\\n' \"$line\" >told; cat <<E\n" +
                                  lines + "\nE\nexec cat >>told"};
        ASSERT_TRUE(fleet->add("hall", settings)) << fleet->errorString().toStdString();
    }

    QByteArray told() const
    {
        QFile file(folder.path("fleet/hall/told"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    bool waitForCounter(quint64 Counters::*counter)
    {
        return waitFor([&] { return fleet->counters("hall").*counter == 1; });
    }
};

} // namespace

TEST_F(WorkerLines, ALateReplyIsPassedOnWithTheTimeSinceTheEnd)
{
    double afterEnd = 0.0;
    QObject::connect(fleet.get(), &DeviceFleet::late, fleet.get(),
                     [&](const QString &, Ticket, const model_Protocoldata &, double ms) { afterEnd = ms; });
    addScripted(R"({"event":"late","id":"$ticket","head":"07 68 12 00 00 00 00","afterEndMs":12.5})");
    give("hall");
    ASSERT_TRUE(waitForCounter(&Counters::late));
    EXPECT_TRUE(waitFor([&] { return afterEnd > 0.0; }));
    EXPECT_EQ(afterEnd, 12.5);
}

TEST_F(WorkerLines, ADuplicateIsPassedOnWithTheTicketOfItsCommand)
{
    Ticket of = 0;
    QObject::connect(fleet.get(), &DeviceFleet::duplicate, fleet.get(),
                     [&](const QString &, Ticket ticket, const model_Protocoldata &) { of = ticket; });
    addScripted(R"({"event":"duplicate","id":"$ticket","head":"07 68 12 00 00 00 00"})");
    const Ticket ticket = give("hall");
    ASSERT_TRUE(waitForCounter(&Counters::duplicate));
    EXPECT_TRUE(waitFor([&] { return of == ticket; }));
}

TEST_F(WorkerLines, AForeignReplyIsPassedOnWithItsRecord)
{
    QByteArray payload;
    QObject::connect(fleet.get(), &DeviceFleet::foreign, fleet.get(),
                     [&](const QString &, const model_Protocoldata &reply) { payload = reply.baData; });
    addScripted(R"({"event":"foreign","head":"07 68 12 00 00 00 00","data":"61 62"})");
    give("hall");
    ASSERT_TRUE(waitForCounter(&Counters::foreign));
    EXPECT_TRUE(waitFor([&] { return payload == "ab"; }));
}

TEST_F(WorkerLines, RefusedBytesAreToldWithTheirNumberAndReason)
{
    QString told;
    QObject::connect(fleet.get(), &DeviceFleet::refused, fleet.get(),
                     [&](const QString &name, int bytes, const QString &why) {
                         told = QStringLiteral("%1 %2 %3").arg(name).arg(bytes).arg(why);
                     });
    addScripted(R"({"event":"refused","bytes":9,"reason":"no frame"})");
    give("hall");
    EXPECT_TRUE(waitFor([&] { return told == "hall 9 no frame"; })) << told.toStdString();
}

TEST_F(WorkerLines, ACommandThatItsWorkerRefusesGivesUpWithTheWorkersReason)
{
    addScripted(R"({"event":"error","id":"$ticket","line":1,"reason":"no such codes"})");
    const Ticket ticket = give("hall");
    ASSERT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_EQ(endOf(ticket).reason, "its worker refused it: no such codes");
}

TEST_F(WorkerLines, WhatIsNoLineOfAWorkersOrOfACommandThatHasEndedIsPassedOver)
{
    addScripted("hello\n{\"event\":\"dances\"}\n{\"event\":\"answered\",\"id\":\"4711\"}\n{\"event\":\"sent\",\"id\":"
                "\"4711\"}\n{\"event\":\"error\",\"id\":\"4711\"}\n{\"event\":\"cancelled\",\"id\":\"$ticket\"}");
    const Ticket ticket = give("hall");
    EXPECT_EQ(waitForOutcome(ticket), "cancelled");
    EXPECT_EQ(fleet->counters("hall").sent, 0U);
}

TEST_F(WorkerLines, ALineWithoutAnEndCostsTheWorkerItsLife)
{
    DeviceSettings settings;
    settings.program = "/bin/sh";
    settings.arguments = QStringList{"-c", "exec tr '\\0' x </dev/zero"};
    ASSERT_TRUE(fleet->add("hall", settings));
    ASSERT_TRUE(waitForLink("hall", LinkState::Lost));
    EXPECT_EQ(fleet->linkStatus("hall").error, Error::WorkerSilent);
    EXPECT_TRUE(fleet->linkStatus("hall").reason.startsWith("the worker was killed: it said a line of more than "))
        << fleet->linkStatus("hall").reason.toStdString();
}

TEST_F(WorkerLines, ACommandIsGivenWithItsOptions)
{
    addScripted("");
    CommandOptions options;
    options.validFor = std::chrono::minutes(10);
    options.urgent = true;
    options.replaceKey = "brightness";
    give("hall", 700, options);
    ASSERT_TRUE(waitFor([this] { return told().endsWith('\n'); }));
    const QByteArray line = told();
    EXPECT_TRUE(line.contains("\"urgent\":true")) << line.toStdString();
    EXPECT_TRUE(line.contains("\"waitMs\":700")) << line.toStdString();
    EXPECT_TRUE(line.contains("\"replaceKey\":\"brightness\"")) << line.toStdString();
    EXPECT_TRUE(line.contains("\"validForMs\":")) << line.toStdString();
}

TEST_F(WorkerLines, ADeviceMayBeLeftToSettleWhichAPipelinedOneTakesNoNoticeOf)
{
    DeviceSettings settings;
    settings.settleMs = 1;
    addDevice("settling", FakeDevice::echo, settings);
    EXPECT_EQ(waitForOutcome(give("settling")), "answered");
    settings.pipelined = true;
    addDevice("pipelined", FakeDevice::echo, settings);
    EXPECT_EQ(waitForOutcome(give("pipelined")), "answered");
}

TEST_F(WorkerLines, ADeviceWhoseFolderCannotBeMadeIsRefused)
{
    ASSERT_TRUE(QDir().mkpath(folder.path()));
    QFile inItsPlace(folder.path("fleet"));
    ASSERT_TRUE(inItsPlace.open(QIODevice::WriteOnly));
    DeviceSettings settings;
    settings.link = QUrl("tcp://127.0.0.1:1");
    EXPECT_FALSE(fleet->add("hall", settings));
    EXPECT_EQ(fleet->error(), Error::CannotMakeFolder);
}

TEST_F(WorkerLines, OfADeviceThatThereIsNotNothingIsKnown)
{
    EXPECT_EQ(fleet->linkStatus("nobody").state, LinkState::Closed);
    EXPECT_EQ(fleet->workerProcessId("nobody"), 0);
    EXPECT_EQ(fleet->pending("nobody"), 0);
    EXPECT_EQ(fleet->counters("nobody").enqueued, 0U);
    EXPECT_FALSE(fleet->clear("nobody"));
    EXPECT_FALSE(fleet->remove("nobody"));
}
