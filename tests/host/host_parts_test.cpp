#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <gtest/gtest.h>

#include "wait_for.h"
#include <loops/channel_claim_p.h>
#include <loops/host_threads_p.h>
#include <commands/round_trips_p.h>
#include <loops/signal_outbox_p.h>
#include <loops/thread_inbox_p.h>

using namespace biz::host;
using namespace biz::test;

// --- SignalOutbox -----------------------------------------------------------------------

TEST(SignalOutbox, EmissionsLeaveFromTheEventLoopInOrder)
{
    SignalOutbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] { emitted.push_back(1); });
    outbox.post([&] { emitted.push_back(2); });
    EXPECT_TRUE(emitted.empty());
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 2; }));
    EXPECT_EQ(emitted, (std::vector<int>{1, 2}));
}

TEST(SignalOutbox, WhatAnEmissionPostsLeavesAfterIt)
{
    SignalOutbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        outbox.post([&] { emitted.push_back(3); });
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
    EXPECT_EQ(emitted, (std::vector<int>{1, 2, 3}));
}

TEST(SignalOutbox, AnEmissionMayDestroyTheOutbox)
{
    auto outbox = std::make_unique<SignalOutbox>(nullptr);
    bool later = false;
    outbox->post([&] { outbox.reset(); });
    outbox->post([&] { later = true; });
    ASSERT_TRUE(waitFor([&] { return outbox == nullptr; }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(later);
}

TEST(SignalOutbox, ASlotsOwnEventLoopGetsTheEmissionsThatFollow)
{
    SignalOutbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        EXPECT_TRUE(waitFor([&] { return emitted.size() == 2; }));
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    outbox.post([&] { emitted.push_back(3); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
    EXPECT_EQ(emitted, (std::vector<int>{2, 3, 1}));
}

TEST(SignalOutbox, ASlotThatLooksForEventsAndDoesNotWaitGetsTheEmissionsThatFollow)
{
    SignalOutbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        QCoreApplication::processEvents();
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 2; }));
    EXPECT_EQ(emitted, (std::vector<int>{2, 1}));
}

TEST(SignalOutbox, ASeriesLeavesToItsEndWithTurnsForOtherEvents)
{
    constexpr int times = 100;
    SignalOutbox outbox(nullptr);
    int emitted = 0;
    int emittedAtTheTimer = -1;
    outbox.postRepeated(times, [&] {
        if (++emitted == 1) {
            QTimer::singleShot(0, &outbox, [&] { emittedAtTheTimer = emitted; });
        }
    });
    ASSERT_TRUE(waitFor([&] { return emitted == times; }));
    EXPECT_GT(emittedAtTheTimer, 0);
    EXPECT_LT(emittedAtTheTimer, times);
}

TEST(SignalOutbox, WhatAnEventPostsLeavesAtItsEndAndNotEarlier)
{
    SignalOutbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.emitAfter([&] {
        outbox.post([&] { emitted.push_back(1); });
        outbox.post([&] { emitted.push_back(2); });
        EXPECT_TRUE(emitted.empty());
    });
    EXPECT_EQ(emitted, (std::vector<int>{1, 2}));
    outbox.post([&] { emitted.push_back(3); });
    EXPECT_EQ(emitted.size(), 2U);
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
}

TEST(SignalOutbox, AnEmissionAtTheEndOfAnEventMayDestroyTheOutbox)
{
    auto outbox = std::make_unique<SignalOutbox>(nullptr);
    bool later = false;
    outbox->emitAfter([&] {
        outbox->post([&] { outbox.reset(); });
        outbox->post([&] { later = true; });
    });
    EXPECT_EQ(outbox, nullptr);
    EXPECT_FALSE(later);
}

// --- ThreadInbox --------------------------------------------------------------------------

TEST(ThreadInbox, MessagesOfAnotherThreadComeInOrder)
{
    std::shared_ptr<ThreadInbox<int>> inbox;
    std::vector<int> taken;
    InboxReceiver receiver(
        [&] {
            for (const int message : inbox->takeAll()) {
                taken.push_back(message);
            }
        },
        nullptr);
    inbox = std::make_shared<ThreadInbox<int>>(&receiver);
    constexpr int messages = 1000;
    std::thread sender([&] {
        for (int i = 0; i < messages; ++i) {
            inbox->push(i);
        }
    });
    EXPECT_TRUE(waitFor([&] { return taken.size() == messages; }));
    sender.join();
    for (int i = 0; i < messages; ++i) {
        ASSERT_EQ(taken.at(static_cast<std::size_t>(i)), i);
    }
}

TEST(ThreadInbox, AClosedInboxDropsWhatComes)
{
    int calls = 0;
    auto receiver = std::make_unique<InboxReceiver>([&] { ++calls; }, nullptr);
    ThreadInbox<int> inbox(receiver.get());
    inbox.push(1);
    inbox.close();
    receiver.reset();
    inbox.push(2);
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(inbox.takeAll().empty());
}

// --- LoopThread ---------------------------------------------------------------------------

TEST(LoopThread, AJoinPastItsDeadlineSaysNoAndALaterOneYes)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool mayReturn = false;
    std::vector<std::unique_ptr<LoopThread>> loops;
    loops.push_back(std::make_unique<LoopThread>(QStringLiteral("held"), [&] {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return mayReturn; });
    }));
    EXPECT_EQ(joinAll(loops, Clock::now() + std::chrono::milliseconds(20)), QStringList{"held"});
    {
        const std::lock_guard<std::mutex> lock(mutex);
        mayReturn = true;
        changed.notify_all();
    }
    EXPECT_TRUE(joinAll(loops, Clock::now() + std::chrono::milliseconds(patienceMs)).isEmpty());
    EXPECT_TRUE(joinAll(loops, Clock::now()).isEmpty());
}

TEST(LoopThread, ItRunsUnderItsName)
{
    QString name;
    LoopThread loop(QStringLiteral("biz-test"), [&] { name = QThread::currentThread()->objectName(); });
    ASSERT_TRUE(loop.join(Clock::now() + std::chrono::milliseconds(patienceMs)));
    EXPECT_EQ(name.toStdString(), "biz-test");
}

// --- ChannelClaim ---------------------------------------------------------------------------

TEST(ChannelClaim, OneAtATime)
{
    std::atomic<bool> isHeld{false};
    {
        const ChannelClaim first(isHeld);
        EXPECT_TRUE(first.succeeded());
        {
            const ChannelClaim second(isHeld);
            EXPECT_FALSE(second.succeeded());
        }
        const ChannelClaim third(isHeld);
        EXPECT_FALSE(third.succeeded()) << "a refused claim gave the first one's back";
    }
    EXPECT_TRUE(ChannelClaim(isHeld).succeeded());
}

// --- RoundTrips -----------------------------------------------------------------------------

TEST(RoundTrips, NoneYetIsNegative)
{
    const RoundTrips none;
    EXPECT_LT(none.median(), 0.0);
    EXPECT_LT(none.max(), 0.0);
}

TEST(RoundTrips, AFewOutliersMoveTheMaximumAndNotTheMedian)
{
    RoundTrips trips;
    trips.add(1000.0);
    for (int i = 0; i < 1000; ++i) {
        trips.add(5.0);
    }
    EXPECT_NEAR(trips.median(), 5.0, 0.022 * 5.0);
    EXPECT_DOUBLE_EQ(trips.max(), 1000.0);
}
