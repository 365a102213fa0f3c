#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include <dlfcn.h>
#include <unistd.h>

#include <QtCore/QThread>
#include <QtNetwork/QUdpSocket>

#include <host/osd_host.h>
#include <testkit/test_clock.h>

// What the clock cannot follow ends the program with a sentence.

namespace {

using namespace std::chrono_literals;
using biz::testkit::TestClock;

class TestClockLimits : public ::testing::Test
{
protected:
    // Each in a program of its own, that begins anew.
    TestClockLimits() { ::testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    static ::testing::ExitedWithCode endsTest() { return ::testing::ExitedWithCode(EXIT_FAILURE); }
};

void waitForASocket()
{
    TestClock clock;
    QUdpSocket socket;
    socket.bind(QHostAddress(QHostAddress::LocalHost), 0);
    clock.advance(1s);
}

TEST_F(TestClockLimits, NetworkSocketIsNamed)
{
    EXPECT_EXIT(waitForASocket(), endsTest(), "waits for the network socket [0-9]+ .socket:");
}

void blockInASystemCall()
{
    TestClock clock;
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    QThread *const reader = QThread::create([ends] {
        char byte = 0;
        static_cast<void>(!::read(ends[0], &byte, 1));
    });
    reader->setObjectName("reader");
    reader->start();
    clock.advance(1s);
}

TEST_F(TestClockLimits, ThreadThatBlocksInTheSystemIsNamed)
{
    EXPECT_EXIT(blockInASystemCall(), endsTest(),
                "the thread .reader. has neither waited nor ended for .*read.. of [0-9]+ .pipe:");
}

void waitForNobody()
{
    const TestClock clock;
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock<std::mutex> lock(mutex);
    never.wait(lock);
}

TEST_F(TestClockLimits, WaitThatNobodyEndsIsNamed)
{
    EXPECT_EXIT(waitForNobody(), endsTest(), "nobody can go on(.|\n)*waits for a condition");
}

void makeTwoClocks()
{
    const TestClock clock;
    const TestClock second;
}

TEST_F(TestClockLimits, SecondClockIsRefused)
{
    EXPECT_EXIT(makeTwoClocks(), endsTest(), "a second TestClock was made while there is one");
}

void makeClockInAModule()
{
    void *const module = ::dlopen(BIZ_CLOCK_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << ::dlerror();
    reinterpret_cast<void (*)()>(::dlsym(module, "makeClock"))();
}

TEST_F(TestClockLimits, ClockWhoseReplacementsAreNotInForceSaysSo)
{
    EXPECT_EXIT(makeClockInAModule(), endsTest(), "time is not virtual: calls of [a-z_]+.. go past TestKit");
}

} // namespace
