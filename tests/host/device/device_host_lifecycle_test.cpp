#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <QtCore/QElapsedTimer>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/reply_words.h>
#include <host/support/from_slot.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class DeviceHostLife : public DeviceHostFixture
{
};

/** Room for a busy machine around a bound that is kept by milliseconds on an idle one. */
constexpr int slackMs = 1500;

/**
 * Holds the send loop in its resend, as a message handler that waits for a slow disk would:
 * the library writes a debug message there without a lock held.
 */
class HeldSendLoop
{
public:
    HeldSendLoop()
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        s_isReleased = false;
        m_former = qInstallMessageHandler(&HeldSendLoop::handle);
    }
    ~HeldSendLoop()
    {
        release();
        qInstallMessageHandler(m_former);
        std::unique_lock<std::mutex> lock(s_mutex);
        s_changed.wait(lock, [] { return !s_isHolding; });
    }
    HeldSendLoop(const HeldSendLoop &) = delete;
    HeldSendLoop &operator=(const HeldSendLoop &) = delete;

    bool isHolding() const { return s_isHolding; }

    void release()
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        s_isReleased = true;
        s_changed.notify_all();
    }

private:
    static void handle(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
    {
        if (text.contains("resend")) {
            hold();
        }
    }

    static void hold()
    {
        std::unique_lock<std::mutex> lock(s_mutex);
        s_isHolding = true;
        s_changed.wait_for(lock, std::chrono::milliseconds(patienceMs), [] { return s_isReleased; });
        s_isHolding = false;
        s_changed.notify_all();
    }

    // Of the process: the last that a held loop does is to unlock, perhaps behind the test that has held it.
    static std::mutex s_mutex;
    static std::condition_variable s_changed;
    static std::atomic<bool> s_isHolding;
    static bool s_isReleased;

    QtMessageHandler m_former = nullptr;
};

std::mutex HeldSendLoop::s_mutex;
std::condition_variable HeldSendLoop::s_changed;
std::atomic<bool> HeldSendLoop::s_isHolding{false};
bool HeldSendLoop::s_isReleased = true;

} // namespace

// --- Stop -----------------------------------------------------------------------------

TEST_F(DeviceHostLife, AStopBeforeAnyStartEndsWhatWaits)
{
    const Ticket ticket = enqueue();
    const StopReport report = host->stop();
    EXPECT_TRUE(report.clean());
    EXPECT_EQ(report.pending, 1);
    EXPECT_EQ(waitForOutcome(ticket), "stopped");
}

TEST_F(DeviceHostLife, AStopWhileTheLinkIsOpeningLeavesNothingRunning)
{
    ASSERT_TRUE(host->start());
    EXPECT_TRUE(host->stop().clean());
    EXPECT_FALSE(host->isRunning());
    // The link tells of its opening all the same.
    Q_EMIT link->opened();
    enqueue();
    QCoreApplication::processEvents();
    EXPECT_EQ(seen.count(LinkState::Up), 0);
    EXPECT_EQ(host->linkStatus().state, LinkState::Closed);
    EXPECT_EQ(link->commands.size(), 0U);
    EXPECT_TRUE(host->stop().clean());
}

TEST_F(DeviceHostLife, AStopIsQuickWhileCommandsTimeOut)
{
    start();
    const Ticket inFlight = enqueue(shortWaitMs);
    for (int i = 0; i < 100; ++i) {
        enqueue(shortWaitMs);
    }
    ASSERT_TRUE(waitFor([&] { return seen.countFor(inFlight, "sent") == 2; }));
    QElapsedTimer clock;
    clock.start();
    const StopReport report = host->stop();
    EXPECT_LT(clock.elapsed(), 1000 + slackMs);
    EXPECT_TRUE(report.clean());
    EXPECT_GE(report.pending, 100);
}

TEST_F(DeviceHostLife, AStopWithAHundredThousandPendingTellsEachItsEndInOrder)
{
    constexpr int count = 100000;
    constexpr int sanitizersPatienceMs = 120000;
    start();
    for (int i = 0; i < count; ++i) {
        given.insert(host->enqueue(command(longWaitMs)));
    }
    nextCommand();
    const StopReport report = host->stop();
    EXPECT_TRUE(report.clean());
    EXPECT_EQ(report.pending, count);
    EXPECT_EQ(host->pending(), 0);
    EXPECT_EQ(host->counters().stopped, static_cast<quint64>(count));
    EXPECT_EQ(host->counters().queueLength, 0);

    Ticket last = 0;
    bool isInOrder = true;
    seen.onSignal = [&](const DeviceHostRecorder::Event &event) {
        isInOrder = isInOrder && (event.signal != "ended" || event.ticket > std::exchange(last, event.ticket));
    };
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == given.size(); }, sanitizersPatienceMs));
    EXPECT_TRUE(isInOrder);
    seen.onSignal = nullptr;
    const CommandResult end = seen.endOf(last);
    EXPECT_EQ(end.outcome, Outcome::Stopped);
    EXPECT_EQ(end.history.size(), 2);
    EXPECT_EQ(end.history.last().text, QStringLiteral("stopped: ") + end.reason);
}

TEST_F(DeviceHostLife, ADestroyedHostTellsNoSignalOfWhatAStopEnded)
{
    constexpr std::size_t told = 10;
    for (int i = 0; i < 100; ++i) {
        enqueue();
    }
    host->stop();
    seen.onSignal = [&](const DeviceHostRecorder::Event & /*event*/) {
        if (seen.ends().size() == told) {
            host.reset();
        }
    };
    ASSERT_TRUE(waitFor([this] { return host == nullptr; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(seen.ends().size(), told);
    seen.forget();
    given.clear();
}

TEST_F(DeviceHostLife, ASecondStopFindsNothing)
{
    start();
    enqueue();
    host->stop();
    const StopReport second = host->stop();
    EXPECT_TRUE(second.clean());
    EXPECT_EQ(second.pending, 0);
}

TEST_F(DeviceHostLife, NothingOfAStoppedRunIsWrittenInTheNext)
{
    start();
    enqueue(QByteArray("in flight"));
    enqueue(QByteArray("waits"));
    nextCommand();
    host->stop();
    enqueue(QByteArray("next"));
    answerEverything();
    start();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (QByteArrayList{"in flight", "next"}));
}

TEST_F(DeviceHostLife, AStopPastItsDeadlineNamesTheSlowLoopAndStillEndsTheCommands)
{
    HeldSendLoop held;
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitFor([&] { return held.isHolding(); }));
    constexpr int deadlineMs = 50;
    QElapsedTimer clock;
    clock.start();
    const StopReport report = host->stop(deadlineMs);
    EXPECT_LT(clock.elapsed(), deadlineMs + slackMs);
    EXPECT_TRUE(report.slowSteps.contains("biz-send")); // and on a busy machine the other loop, too
    EXPECT_EQ(waitForOutcome(ticket), "stopped");
}

TEST_F(DeviceHostLife, AStartIsRefusedAsLongAsALoopOfTheFormerRunHangs)
{
    HeldSendLoop held;
    start();
    enqueue(shortWaitMs);
    ASSERT_TRUE(waitFor([&] { return held.isHolding(); }));
    ASSERT_FALSE(host->stop(0).clean());
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::LoopsStillRunning);
    EXPECT_FALSE(host->isRunning());

    held.release();
    ASSERT_TRUE(waitFor([&] { return host->start(); }));
    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostLife, AResendIsNotTakenForTheFirstCopyOfACommandThatWasHandedOverAgain)
{
    HeldSendLoop held;
    answerEverything();
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    link->fill();
    stayBusy([&] { return held.isHolding(); });
    const int sequenceOfFirstTake = static_cast<quint8>(biz_CMDSWork::iSN - 1);
    QCoreApplication::processEvents(); // it could not be written, and waits again
    link->makeRoom();                  // it is handed over again
    held.release();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    ASSERT_EQ(link->commands.size(), 1U);
    EXPECT_NE(link->commands.front().ucHead[0], sequenceOfFirstTake);
}

TEST_F(DeviceHostLife, AStartWithinTheCloseOfItsLinkIsRefusedAndTheStopIsClean)
{
    start();
    link->tellsOfClose = true;
    int closes = 0;
    QObject::connect(link, &DeviceLink::closed, host.get(), [&] {
        ++closes;
        EXPECT_FALSE(host->start());
        EXPECT_EQ(host->error(), Error::LoopsStillRunning);
        EXPECT_FALSE(host->setLink(std::make_unique<FakeLink>()));
        EXPECT_TRUE(host->stop().clean());
    });
    EXPECT_TRUE(host->stop().clean());
    EXPECT_EQ(closes, 1);
    EXPECT_FALSE(host->isRunning());
    link->tellsOfClose = false;
    start();
}

TEST_F(DeviceHostLife, AHastyStopIsFollowedByAStartLikeAnyOther)
{
    answerEverything();
    for (int round = 0; round < 20; ++round) {
        start();
        host->stop(0);
        // The loops of the former run have not returned yet, and must not take this one.
        const Ticket ticket = enqueue();
        start();
        ASSERT_TRUE(waitForEnd(ticket)) << round;
        EXPECT_EQ(seen.outcomeOf(ticket), "answered");
        host->stop();
    }
}

TEST_F(DeviceHostLife, AHostWithAHangingLoopCanBeDestroyedAndTheNextStartsOnceTheLoopHasReturned)
{
    HeldSendLoop held;
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitFor([&] { return held.isHolding(); }));
    host->stop(0);
    ASSERT_TRUE(waitForEnd(ticket));
    makeHost();
    ASSERT_TRUE(host->isValid());
    // The loop of the former host would take what this one queues.
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::LoopsStillRunning);

    held.release();
    ASSERT_TRUE(waitFor([&] { return host->start(); }));
    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostLife, AThousandStartsAndStops)
{
    answerEverything();
    constexpr int rounds = 1000;
    for (int round = 0; round < rounds; ++round) {
        start();
        const Ticket ticket = round % 10 == 0 ? enqueue() : 0;
        if (ticket != 0 && round % 20 == 0) {
            EXPECT_EQ(waitForOutcome(ticket), "answered");
        }
        ASSERT_TRUE(host->stop().clean()) << round;
    }
}

// --- Destruction ------------------------------------------------------------------------

TEST_F(DeviceHostLife, DestructionIsSafeInEveryState)
{
    enum State { Fresh, Opening, Idle, InFlight, Resent, LinkGone, Stopped, states };
    for (int state = Fresh; state < states; ++state) {
        SCOPED_TRACE(state);
        makeHost();
        ASSERT_TRUE(host->isValid());
        if (state == Opening) {
            ASSERT_TRUE(host->start());
        } else if (state != Fresh) {
            start();
        }
        if (state >= InFlight) {
            enqueue(state == InFlight ? longWaitMs : shortWaitMs);
            enqueue();
            ASSERT_TRUE(waitForCommands(state == InFlight ? 1 : 2));
        }
        if (state == LinkGone) {
            link->breakDown("gone");
        }
        if (state == Stopped) {
            host->stop();
        }
        host.reset();
        seen.forget();
        given.clear();
    }
}

// --- From inside a slot -------------------------------------------------------------------

namespace {

class DeviceHostFromSlot : public FromSlotTest<DeviceHostFixture>
{
protected:
    /** Makes every signal happen, time and again, as long as the host runs. */
    void makeEverythingHappen()
    {
        ASSERT_TRUE(host->setModel("A2"));
        link->onCommand = [this](const model_Protocoldata &command) {
            model_Protocoldata reply = command;
            if (command.baData == "silent") {
                return;
            }
            reply.ucHead[3] = 16; // refused by the rule
            link->reply(reply);
            reply.ucHead[3] = 0;
            link->reply(reply);
            reply.ucHead[0] = static_cast<uchar>(reply.ucHead[0] + 100);
            link->reply(reply); // foreign
            link->sendGarbage();
        };
        giveMore();
        constexpr int periodMs = 100;
        keepDoing(periodMs, [this] {
            // The answered one again: a duplicate. The given-up one: late. The silent one that may
            // still be in flight is to be given up first.
            const std::vector<model_Protocoldata> commands(link->commands);
            for (const model_Protocoldata &command : commands) {
                if (command.baData != "silent" || command.ucHead[0] != commands.back().ucHead[0]) {
                    link->reply(command);
                }
            }
            giveMore();
        });
    }

    void giveMore()
    {
        enqueue(command(shortWaitMs, "silent"));
        enqueue(command(longWaitMs, "answered"));
    }

    void callEverything() override
    {
        host->setPipelined(true);
        host->setPipelined(false);
        host->setWhileDown(WhileDown::Hold);
        EXPECT_TRUE(host->setSettleTime(1));
        EXPECT_TRUE(host->cancel(enqueue()));
        enqueue();
        host->clear();
        host->setSkipping(true);
        enqueue();
        host->setSkipping(false);
        EXPECT_EQ(host->pending(), 0);
        EXPECT_GT(host->counters().enqueued, 0U);
    }

    /** What is due meanwhile is heard in here. */
    void runNestedLoop() override
    {
        seen.mayNest = true;
        EXPECT_TRUE(waitForEnd(enqueue(command(longWaitMs, "answered"))));
        seen.mayNest = false;
    }
};

} // namespace

TEST_P(DeviceHostFromSlot, IsSafe)
{
    seen.onSignal = [this](const DeviceHostRecorder::Event &event) {
        hear(event.signal);
    };
    makeEverythingHappen();
    startAndWaitForTheSlot();
    if (deletesTheHost()) {
        // Nobody hears of the ends that come with a destruction; of none twice all the same.
        for (const auto &end : seen.ends()) {
            EXPECT_EQ(end.second.size(), 1U);
        }
        given.clear();
        seen.forget();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, DeviceHostFromSlot,
                         testing::Combine(testing::Values("sent", "ended", "rejected", "late", "duplicate", "foreign",
                                                          "refused", "queueSize", "linkStateChanged"),
                                          testing::Values(Way::Stop, Way::StopAndStart, Way::EveryCall, Way::NestedLoop,
                                                          Way::DeleteLater, Way::Delete)),
                         nameOf);
