#include <mutex>

#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

using std::chrono::milliseconds;

/** What becomes of commands when the link is lost, cannot be opened, or takes nothing for a while. */
class DeviceHostOutage : public DeviceHostFixture
{
protected:
    void breakDown()
    {
        link->breakDown(QStringLiteral("pulled out"));
        ASSERT_EQ(host->linkStatus().state, LinkState::Lost);
    }

    void comeBack()
    {
        const int before = seen.count(LinkState::Up);
        ASSERT_TRUE(host->setReconnectInterval(1));
        link->breakDown(QStringLiteral("the attempt failed")); // the next one follows soon
        ASSERT_TRUE(waitFor([&] { return seen.count(LinkState::Up) > before; }));
    }
};

} // namespace

// --- What the link's state is told as ---------------------------------------------------------

TEST_F(DeviceHostOutage, TheLinksStatesAreToldInOrder)
{
    EXPECT_EQ(host->linkStatus().state, LinkState::Closed);
    start();
    breakDown();
    EXPECT_EQ(host->linkStatus().error, Error::LinkClosed);
    EXPECT_EQ(host->linkStatus().reason, "pulled out");
    comeBack();
    host->stop();
    ASSERT_TRUE(waitFor([this] { return seen.count(LinkState::Closed) == 1; }));
    std::vector<LinkState> states;
    for (const DeviceHostRecorder::Event &event : seen.of("linkStateChanged")) {
        states.push_back(event.link.state);
    }
    EXPECT_EQ(states, (std::vector<LinkState>{LinkState::Connecting, LinkState::Up, LinkState::Lost, LinkState::Up,
                                              LinkState::Closed}));
}

TEST_F(DeviceHostOutage, ALinkThatCannotBeOpenedIsLostAndToldOnce)
{
    link->opening = FakeLink::Opening::Fails;
    const Ticket waiting = enqueue();
    ASSERT_TRUE(host->setReconnectInterval(1));
    ASSERT_TRUE(host->start());
    ASSERT_TRUE(waitFor([this] { return host->linkStatus().attempts > 3; }));
    EXPECT_TRUE(host->isRunning());
    EXPECT_EQ(host->linkStatus().error, Error::LinkCannotOpen);
    EXPECT_EQ(seen.count(LinkState::Lost), 1);
    ASSERT_EQ(waitForOutcome(waiting), "unreachable");
    EXPECT_TRUE(seen.endOf(waiting).reason.contains("nobody is there"));
}

TEST_F(DeviceHostOutage, ALinkIsNotOpenedAgainWithoutAnInterval)
{
    ASSERT_TRUE(host->setReconnectInterval(0));
    start();
    breakDown();
    // What would be due at once has had its turn when this has.
    bool isOver = false;
    QTimer::singleShot(50, [&] { isOver = true; });
    ASSERT_TRUE(waitFor([&] { return isOver; }));
    EXPECT_EQ(host->linkStatus().state, LinkState::Lost);
    host->stop();
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostOutage, CommandsWaitWhileTheFirstAttemptIsUnderWay)
{
    link->opening = FakeLink::Opening::Never;
    answerEverything();
    ASSERT_TRUE(host->start());
    const Ticket ticket = enqueue();
    stayBusyFor(30);
    QCoreApplication::processEvents();
    EXPECT_EQ(host->linkStatus().state, LinkState::Connecting);
    EXPECT_EQ(host->waiting(), 1);
    link->opening = FakeLink::Opening::FromTheEventLoop;
    link->open();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

// --- Failing fast -----------------------------------------------------------------------------------

TEST_F(DeviceHostOutage, CommandsEndAtOnceWithTheLinksReason)
{
    start();
    const Ticket inFlight = occupy();
    const Ticket waiting = enqueue();
    breakDown();
    const Ticket givenLater = enqueue();
    EXPECT_EQ(host->pending(), 0);
    ASSERT_TRUE(waitForAllEnds());
    for (const Ticket ticket : {inFlight, waiting, givenLater}) {
        EXPECT_EQ(seen.outcomeOf(ticket), "unreachable");
        EXPECT_TRUE(seen.endOf(ticket).reason.contains("pulled out")) << seen.endOf(ticket).reason.toStdString();
    }
    EXPECT_EQ(link->commands.size(), 1U);

    comeBack();
    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostOutage, CommandsThatWereHeldEndWhenHoldingEnds)
{
    host->setWhileDown(WhileDown::Hold);
    start();
    breakDown();
    const Ticket held = enqueue();
    EXPECT_EQ(host->pending(), 1);
    seen.quietly([this] { host->setWhileDown(WhileDown::FailFast); });
    EXPECT_EQ(host->pending(), 0);
    EXPECT_EQ(waitForOutcome(held), "unreachable");
}

TEST_F(DeviceHostOutage, WhatHasBeenHandedOverEndsAsWellAndIsNotWrittenLater)
{
    start();
    const Ticket handedOver = enqueue(QByteArray("handed over"));
    breakDown();
    EXPECT_EQ(waitForOutcome(handedOver), "unreachable");
    answerEverything();
    comeBack();
    enqueue(QByteArray("next"));
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), QByteArrayList{"next"});
}

// --- Holding -----------------------------------------------------------------------------------------

TEST_F(DeviceHostOutage, HeldCommandsGoOutInOrderWhenTheLinkIsBackAndWhatHadBeenSentDoesNot)
{
    host->setWhileDown(WhileDown::Hold);
    start();
    const Ticket inFlight = occupy();
    enqueue(QByteArray("waiting"));
    breakDown();
    enqueue(QByteArray("given later"));
    EXPECT_EQ(host->pending(), 2);
    answerEverything();
    comeBack();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(inFlight), "unreachable");
    EXPECT_EQ(written(), (QByteArrayList{"first", "waiting", "given later"}));
    EXPECT_EQ(host->counters().answered, 2U);
}

TEST_F(DeviceHostOutage, HalfAReplyIsForgottenWithItsLink)
{
    start();
    occupy();
    Q_EMIT link->received(DemoFrameCodec().encode(link->commands.back()).left(4));
    breakDown();
    answerEverything();
    comeBack();
    const Ticket next = enqueue();
    ASSERT_TRUE(waitFor([&] { return seen.hasEnded(next) || host->counters().refusedFrames > 0; }));
    EXPECT_EQ(seen.outcomeOf(next), "answered");
}

TEST_F(DeviceHostOutage, AHeldCommandsValidityGoesOnRunningOut)
{
    CommandOptions options;
    options.validFor = milliseconds(20);
    host->setWhileDown(WhileDown::Hold);
    start();
    breakDown();
    const Ticket expired = enqueue(command(longWaitMs), options);
    stayBusyFor(30);
    answerEverything();
    comeBack();
    EXPECT_EQ(waitForOutcome(expired), "expired");
    EXPECT_TRUE(link->commands.empty());
}

TEST_F(DeviceHostOutage, WhatWasHandedOverButNotWrittenGoesOutFirstWhenTheLinkIsBack)
{
    host->setWhileDown(WhileDown::Hold);
    start();
    const Ticket handedOver = enqueue(QByteArray("handed over"));
    enqueue(QByteArray("waiting"));
    breakDown();
    stayBusyFor(50); // the library takes it
    answerEverything();
    comeBack();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(handedOver), "answered");
    EXPECT_EQ(seen.endOf(handedOver).attempts, 1);
    EXPECT_EQ(written(), (QByteArrayList{"handed over", "waiting"}));
}

TEST_F(DeviceHostOutage, PipelinedCommandsKeepTheirOrderWhenTheLinkFillsUnderTheFirstOfThem)
{
    answerEverything();
    host->setPipelined(true);
    start();
    for (const char *payload : {"1", "2", "3", "4", "5"}) {
        enqueue(QByteArray(payload));
    }
    // The library takes the first of those that are ahead, and has yet to take the others.
    const auto numbersUsed = [] {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        return biz_CMDSWork::iSN;
    };
    const auto before = numbersUsed();
    stayBusy([&] { return numbersUsed() != before; });
    stayBusyFor(2); // its announcement follows
    link->fill();
    QCoreApplication::processEvents();
    link->makeRoom();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (QByteArrayList{"1", "2", "3", "4", "5"}));
}

// --- A link that is full ---------------------------------------------------------------------------------

TEST_F(DeviceHostOutage, CommandsWaitForAFullLink)
{
    answerEverything();
    start();
    link->fill();
    enqueue(QByteArray("1"));
    enqueue(QByteArray("2"));
    stayBusyFor(30);
    QCoreApplication::processEvents();
    EXPECT_EQ(host->waiting(), 2);
    link->makeRoom();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (QByteArrayList{"1", "2"}));
}

TEST_F(DeviceHostOutage, WhatIsHandedOverWhileTheLinkFillsWaitsInFront)
{
    answerEverything();
    start();
    const Ticket handedOver = enqueue(QByteArray("handed over"));
    enqueue(QByteArray("waiting"));
    link->fill();
    stayBusyFor(50); // the library takes it
    QCoreApplication::processEvents();
    EXPECT_EQ(host->waiting(), 2);
    EXPECT_TRUE(link->commands.empty());
    link->makeRoom();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(handedOver), "answered");
    EXPECT_EQ(written(), (QByteArrayList{"handed over", "waiting"}));
}
