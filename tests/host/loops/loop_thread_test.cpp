#include <condition_variable>
#include <mutex>

#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <host/wait_for.h>
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

TEST(LoopThread, ItRunsUnderItsName)
{
    QString name;
    LoopThread loop(QStringLiteral("biz-test"), [&] { name = QThread::currentThread()->objectName(); });
    ASSERT_TRUE(loop.join(Clock::now() + std::chrono::milliseconds(patienceMs)));
    EXPECT_EQ(name.toStdString(), "biz-test");
}
