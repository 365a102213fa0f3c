#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>
#include <loops/channel_loops_p.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** Its loops return as soon as they are told to, unless the test holds them. */
struct Worker
{
    std::atomic<bool> m_bSendRun{false};
    std::atomic<bool> m_bRecvRun{false};
    std::atomic<bool> isHeld{false};
    std::atomic<int> loops{0}; ///< that run now

    void a1_GetQueueWork() { runWhile(m_bSendRun); }
    void a1_receiveGetQueueWork() { runWhile(m_bRecvRun); }

private:
    void runWhile(const std::atomic<bool> &isMeantToRun)
    {
        ++loops;
        while (isMeantToRun || isHeld) {
            std::this_thread::yield();
        }
        --loops;
    }
};

struct Loops : ChannelLoops<Worker, int>
{
    Loops()
        : ChannelLoops(QStringLiteral("send"), QStringLiteral("receive"), 0)
    {
    }
    ~Loops()
    {
        worker().isHeld = false;
        tellToReturn();
    }
    Loops(const Loops &) = delete;
    Loops &operator=(const Loops &) = delete;

    QStringList joinPatiently() { return join(Clock::now() + std::chrono::milliseconds(patienceMs)); }
};

} // namespace

TEST(ChannelLoops, ThereIsNoSecondPairAsLongAsOneOfTheFirstHasNotReturned)
{
    constexpr int pair = 2;
    Loops loops;
    ASSERT_EQ(loops.begin(), Error::None);
    ASSERT_TRUE(waitFor([&] { return loops.worker().loops == pair; }));
    loops.worker().isHeld = true;
    loops.tellToReturn();
    EXPECT_EQ(loops.begin(), Error::LoopsStillRunning);
    EXPECT_TRUE(loops.areRunning());
    EXPECT_EQ(loops.worker().loops, pair);

    loops.worker().isHeld = false;
    EXPECT_TRUE(loops.joinPatiently().isEmpty());
    EXPECT_FALSE(loops.areRunning());
    EXPECT_EQ(loops.begin(), Error::None);
}

TEST(ChannelLoops, AJoinNamesTheLoopsThatHaveNotReturned)
{
    Loops loops;
    ASSERT_EQ(loops.begin(), Error::None);
    EXPECT_EQ(loops.join(Clock::now()), (QStringList{QStringLiteral("receive"), QStringLiteral("send")}));
    loops.tellToReturn();
    EXPECT_TRUE(loops.joinPatiently().isEmpty());
}
