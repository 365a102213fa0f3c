#include <atomic>

#include <QtCore/QEventLoop>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include "device_host_fixture.h"
#include <host/support/thread_sanitizer.h>

using namespace biz::host;
using namespace biz::test;

namespace {

class DeviceHostCallbacks : public DeviceHostFixture
{
protected:
    DeviceHost::EndCallback noteCall()
    {
        return [this](Ticket ticket, const CommandResult &result) {
            EXPECT_FALSE(m_isInsideCall);
            EXPECT_FALSE(seen.hasEnded(ticket)) << "everybody had heard before";
            calls.push_back({ticket, result});
        };
    }

    Ticket enqueueWithCallback(const CommandOptions &options = {})
    {
        return note(
            seen.quietly([&] { return host->enqueue(command(longWaitMs), options, context.get(), noteCall()); }));
    }

    /** A call of the host inside which no callback may be called. */
    void quietly(const std::function<void()> &call)
    {
        m_isInsideCall = true;
        seen.quietly(call);
        m_isInsideCall = false;
    }

    std::vector<Ticket> called() const
    {
        std::vector<Ticket> tickets;
        for (const auto &call : calls) {
            tickets.push_back(call.first);
        }
        return tickets;
    }

    std::unique_ptr<QObject> context = std::make_unique<QObject>();
    std::vector<std::pair<Ticket, CommandResult>> calls;

private:
    bool m_isInsideCall = false;
};

} // namespace

TEST_F(DeviceHostCallbacks, TheCallbackHearsOfTheEndBeforeEverybodyElse)
{
    answerEverything();
    start();
    const Ticket ticket = enqueueWithCallback();
    ASSERT_TRUE(waitForEnd(ticket));
    ASSERT_EQ(called(), std::vector<Ticket>{ticket});
    EXPECT_EQ(calls.front().second.outcome, Outcome::Answered);
    EXPECT_EQ(calls.front().second.reason, seen.endOf(ticket).reason);
}

/** Of a host that does not run, so that no loop's report wakes the event loop. */
TEST_F(DeviceHostCallbacks, AnEventLoopInACallbackTellsWhatElseHasEnded)
{
    QEventLoop loop;
    const Ticket first =
        host->enqueue(command(longWaitMs), {}, context.get(), [&](Ticket, const CommandResult &) { loop.exec(); });
    const Ticket second = enqueue();
    note(first);
    QObject::connect(host.get(), &DeviceHost::ended, &loop, [&](Ticket ticket) {
        if (ticket == second) {
            loop.quit();
        }
    });
    host->clear();
    bool isLate = false;
    constexpr int patienceOfLoopMs = 2000;
    QTimer::singleShot(patienceOfLoopMs, &loop, [&] {
        isLate = true;
        loop.quit();
    });
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_FALSE(isLate);
}

TEST_F(DeviceHostCallbacks, ManyThatEndTogetherAreEachHeardOnceAndInOrder)
{
    constexpr std::size_t count = 50;
    std::vector<Ticket> tickets;
    for (std::size_t i = 0; i < count; ++i) {
        tickets.push_back(enqueueWithCallback());
    }
    quietly([this] { host->clear(); });
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(called(), tickets);
}

TEST_F(DeviceHostCallbacks, ASupersededCommandsCallbackNamesTheNewerOne)
{
    CommandOptions options;
    options.replaceKey = QStringLiteral("key");
    const Ticket older = enqueueWithCallback(options);
    const Ticket newer = enqueueWithCallback(options);
    ASSERT_TRUE(waitForEnd(older));
    ASSERT_EQ(called(), std::vector<Ticket>{older});
    EXPECT_EQ(calls.front().second.supersededBy, newer);
}

TEST_F(DeviceHostCallbacks, TheCallIsMadeOnTheContextsThread)
{
    if (isUnderThreadSanitizer) {
        GTEST_SKIP() << "the copy of the result goes from thread to thread by a lock inside Qt";
    }
    QThread thread;
    thread.start();
    QObject elsewhere;
    elsewhere.moveToThread(&thread);
    std::atomic<QThread *> calledOn{nullptr};
    answerEverything();
    start();
    note(host->enqueue(command(longWaitMs), {}, &elsewhere,
                       [&](Ticket, const CommandResult &) { calledOn = QThread::currentThread(); }));
    EXPECT_TRUE(waitFor([&] { return calledOn == &thread; }));
    ASSERT_TRUE(waitForAllEnds());
    thread.quit();
    thread.wait();
}

TEST_F(DeviceHostCallbacks, NothingIsCalledOnceTheContextIsGone)
{
    answerEverything();
    start();
    const Ticket ticket = enqueueWithCallback();
    context.reset();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    QCoreApplication::processEvents();
    EXPECT_TRUE(calls.empty());
}

TEST_F(DeviceHostCallbacks, AContextThatGoesWhenTheEndIsUnderWayHearsNothing)
{
    const Ticket first = enqueueWithCallback();
    enqueueWithCallback();
    host->clear();
    seen.onSignal = [&](const DeviceHostRecorder::Event &event) {
        if (event.ticket == first) {
            context.reset();
        }
    };
    ASSERT_TRUE(waitForAllEnds());
    QCoreApplication::processEvents();
    EXPECT_EQ(called(), std::vector<Ticket>{first});
    seen.onSignal = nullptr;
}

TEST_F(DeviceHostCallbacks, TheDestructionOfTheHostIsHeardAsStopped)
{
    start();
    const Ticket inFlight = enqueueWithCallback();
    const Ticket waiting = enqueueWithCallback();
    nextCommand();
    quietly([this] { host.reset(); });
    EXPECT_TRUE(waitFor([this] { return calls.size() == 2; }));
    EXPECT_EQ(called(), (std::vector<Ticket>{inFlight, waiting}));
    for (const auto &call : calls) {
        EXPECT_EQ(call.second.outcome, Outcome::Stopped);
    }
    EXPECT_TRUE(seen.ends().empty());
    given.clear();
}

TEST_F(DeviceHostCallbacks, EndsThatWereStillToBeToldAreHeardWithTheirOwnOutcome)
{
    constexpr std::size_t count = 20;
    for (std::size_t i = 0; i < count; ++i) {
        enqueueWithCallback();
    }
    host->clear();
    ASSERT_TRUE(waitFor([this] { return !calls.empty(); }));
    quietly([this] { host.reset(); });
    EXPECT_TRUE(waitFor([this] { return calls.size() == count; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(calls.size(), count);
    for (const auto &call : calls) {
        EXPECT_EQ(call.second.outcome, Outcome::Cleared);
    }
    seen.forget();
    given.clear();
}

TEST_F(DeviceHostCallbacks, ARefusedCommandHasNoCallback)
{
    EXPECT_EQ(host->enqueue(command(longWaitMs, QByteArray(DemoFrameCodec::maxPayload + 1, 'x')), {}, context.get(),
                            noteCall()),
              0U);
    QCoreApplication::processEvents();
    EXPECT_TRUE(calls.empty());
}

TEST_F(DeviceHostCallbacks, ACallbackThatIsNoneIsNotCalled)
{
    const Ticket ticket = note(host->enqueue(command(longWaitMs), {}, context.get(), nullptr));
    host->clear();
    EXPECT_EQ(waitForOutcome(ticket), "cleared");
}

TEST_F(DeviceHostCallbacks, ACallbackMayGiveTheNextCommand)
{
    constexpr std::size_t count = 5;
    answerEverything();
    start();
    std::function<void()> giveNext;
    std::size_t heard = 0;
    giveNext = [&] {
        note(host->enqueue(command(longWaitMs), {}, context.get(), [&](Ticket, const CommandResult &) {
            if (++heard < count) {
                giveNext();
            }
        }));
    };
    giveNext();
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == count; }));
    EXPECT_EQ(heard, count);
}

TEST_F(DeviceHostCallbacks, ACallbackMayDestroyTheHost)
{
    const Ticket first = note(
        host->enqueue(command(longWaitMs), {}, context.get(), [this](Ticket, const CommandResult &) { host.reset(); }));
    enqueueWithCallback();
    host->clear();
    ASSERT_TRUE(waitFor([this] { return host == nullptr && calls.size() == 1; }));
    EXPECT_FALSE(seen.hasEnded(first));
    given.clear();
}

TEST_F(DeviceHostCallbacks, ACallbackWithoutAContextIsRefused)
{
    start();
    EXPECT_EQ(host->enqueue(command(longWaitMs), {}, nullptr, noteCall()), 0U);
    EXPECT_EQ(host->error(), Error::NoContext);
    EXPECT_NE(host->enqueue(command(longWaitMs), {}, nullptr, {}), 0U);
}
