#include <array>
#include <condition_variable>
#include <mutex>

#include <pthread.h>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>
#include <loops/loop_thread_p.h>

using namespace biz::host;
using namespace biz::test;

TEST(LoopThread, AJoinPastItsDeadlineSaysNoAndALaterOneYes)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool mayReturn = false;
    LoopThread loop(QStringLiteral("held"), [&] {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return mayReturn; });
    });
    EXPECT_TRUE(loop.hasStarted());
    EXPECT_FALSE(loop.join(Clock::now() + std::chrono::milliseconds(20)));
    {
        const std::lock_guard<std::mutex> lock(mutex);
        mayReturn = true;
        changed.notify_all();
    }
    EXPECT_TRUE(loop.join(Clock::now() + std::chrono::milliseconds(patienceMs)));
    EXPECT_TRUE(loop.join(Clock::now()));
}

TEST(LoopThread, AJoinReturnsLongBeforeItsDeadlineWhenTheLoopHasReturned)
{
    constexpr int rounds = 10; // in each the loop returns while the join waits, unless this thread is held up
    const auto begin = Clock::now();
    for (int round = 0; round < rounds; ++round) {
        std::mutex mutex;
        std::condition_variable changed;
        bool mayReturn = false;
        LoopThread loop(QStringLiteral("brief"), [&] {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return mayReturn; });
        });
        {
            const std::lock_guard<std::mutex> lock(mutex);
            mayReturn = true;
            changed.notify_all();
        }
        EXPECT_TRUE(loop.join(Clock::now() + std::chrono::milliseconds(patienceMs)));
        ASSERT_LT(Clock::now() - begin, std::chrono::milliseconds(patienceMs));
    }
}

TEST(LoopThread, ItRunsUnderItsName)
{
    std::array<char, 16> name{};
    LoopThread loop(QStringLiteral("biz-test"), [&] { pthread_getname_np(pthread_self(), name.data(), name.size()); });
    ASSERT_TRUE(loop.join(Clock::now() + std::chrono::milliseconds(patienceMs)));
    EXPECT_STREQ(name.data(), "biz-test");
}
