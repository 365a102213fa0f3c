#include <atomic>
#include <csignal>
#include <cstdio>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QDir>
#include <QtCore/QProcess>

#include <host/osd/osd_host_fixture.h>
#include <host/outages/outage_fixture.h>
#include <host/outages/tcp_device.h>
#include <support/process_use.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** So many are still given; without a bound while negative. */
std::atomic<int> threadsLeft{-1};

} // namespace

/** In place of the system's, for all that is loaded: as when the limit of threads is reached. */
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                              void *argument)
{
    if (threadsLeft == 0) {
        return EAGAIN;
    }
    if (threadsLeft > 0) {
        --threadsLeft;
    }
    static const auto next = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return next(thread, attributes, body, argument);
}

namespace {

/** While it exists, this process can open nothing. */
class NoDescriptors
{
public:
    NoDescriptors()
    {
        constexpr rlim_t few = 64; // more than a test needs, so that what is open can still be waited for
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_before), 0);
        rlimit limit = m_before;
        limit.rlim_cur = few;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        for (int next = dup(0); next >= 0; next = dup(0)) {
            m_taken.push_back(next);
        }
        EXPECT_FALSE(m_taken.empty());
    }
    ~NoDescriptors()
    {
        for (const int descriptor : m_taken) {
            ::close(descriptor);
        }
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &m_before), 0);
    }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

private:
    rlimit m_before{};
    std::vector<int> m_taken;
};

/** While it exists, the system gives so many threads. */
class FewThreads
{
public:
    explicit FewThreads(int count = 0) { threadsLeft = count; }
    ~FewThreads() { threadsLeft = -1; }
    FewThreads(const FewThreads &) = delete;
    FewThreads &operator=(const FewThreads &) = delete;
};

/** A device host on a device of the test's own process, while the system fails. */
class SystemFault : public OutageFixture
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(host.setReconnectInterval(10));
        ASSERT_TRUE(host.setLink(QUrl(device.url())));
    }

    void expectAnswer()
    {
        const int number = give(longWaitMs);
        ASSERT_TRUE(waitForEnd(number));
        EXPECT_EQ(outcomeOf(number), "answered");
    }

    TcpDevice device;
};

/** How long the process stands still: BIZ_STOPPED_SECONDS makes it longer. */
int stoppedSeconds()
{
    const int wished = qEnvironmentVariableIntValue("BIZ_STOPPED_SECONDS");
    return wished > 0 ? wished : 1;
}

} // namespace

TEST_F(SystemFault, WithoutADescriptorTheLinkIsLostAndItIsUpWhenThereIsOne)
{
    if (needsDescriptors) {
        GTEST_SKIP() << "the sanitizer has none either";
    }
    {
        const NoDescriptors none;
        ASSERT_TRUE(host.start()) << host.errorString().toStdString();
        ASSERT_TRUE(waitForLosses(1));
        EXPECT_EQ(host.linkStatus().error, Error::LinkCannotOpen);
        ASSERT_TRUE(waitFor([this] { return host.linkStatus().attempts >= 2; }));
    }
    ASSERT_TRUE(waitForUps(1));
    expectAnswer();
}

TEST_F(SystemFault, WithoutADescriptorALinkThatIsUpGoesOn)
{
    startUp();
    expectAnswer();
    const NoDescriptors none;
    expectAnswer();
}

// The channel's loops run until the process ends, so this is the first of the OSD host's tests.
TEST(OsdSystemFault, WithoutEnoughThreadsTheStartIsRefusedAndTheNextOneSucceeds)
{
    constexpr int neededAtOnce = 3; // two loops, and the library's own for time-outs
    OsdHost host;
    for (int given = 0; given < neededAtOnce + 2; ++given) { // beyond them, some are gone between looking and starting
        const FewThreads few(given);
        EXPECT_FALSE(host.start()) << given;
        EXPECT_EQ(host.error(), Error::CannotStartThread);
    }
    EXPECT_TRUE(host.start()) << host.errorString().toStdString();
    EXPECT_EQ(host.stop().pending, 0);
}

TEST(OsdSystemFault, WithoutADescriptorAnOsdHostSaysSoAndStartsWhenThereIsOne)
{
    if (needsDescriptors) {
        GTEST_SKIP() << "the sanitizer has none either";
    }
    OsdHost host;
    {
        const NoDescriptors none;
        EXPECT_FALSE(host.start());
        EXPECT_EQ(host.error(), Error::CannotBind);
    }
    EXPECT_TRUE(host.start()) << host.errorString().toStdString();
}

TEST_F(SystemFault, WithoutAThreadTheStartIsRefusedAndTheNextOneSucceeds)
{
    {
        const FewThreads none;
        EXPECT_FALSE(host.start());
        EXPECT_EQ(host.error(), Error::CannotStartThread);
        EXPECT_FALSE(host.isRunning());
    }
    startUp();
    expectAnswer();
}

TEST_F(SystemFault, WhatTheHostOpensIsNotInheritedByProgramsThatItStarts)
{
    startUp();
    expectAnswer();
    for (const QString &name : QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::System)) {
        const QString target = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/") + name);
        if (target.contains(QLatin1String("socket:")) || target.contains(QLatin1String("eventpoll"))) {
            EXPECT_NE(fcntl(name.toInt(), F_GETFD) & FD_CLOEXEC, 0) << qPrintable(target);
        }
    }
}

// --- Of hosts of both channels ----------------------------------------------------------------

namespace {

/** A device host, as the tests of both channels use one. */
class DeviceChannelOfProcess : public SystemFault
{
protected:
    void setMute(bool isMute) { device.isMute = isMute; }
    int giveUnanswered() { return give(waitMs); }
    int givePatient() { return give(longWaitMs); }
    bool isInFlight()
    {
        return waitFor([this] { return arrived.size() == 1 || device.connections() == 1; });
    }
    bool waitUntilReachable()
    {
        return waitFor([this] { return isUp(); });
    }
};

/** The same of an OSD host. */
class OsdChannelOfProcess : public OsdHostFixture
{
protected:
    void startUp() { start(); }
    void setMute(bool isMute) { device(0).answers = !isMute; }
    Ticket giveUnanswered() { return enqueue(device(0), givenUpWaitMs); }
    Ticket givePatient() { return enqueue(device(0), endlessWaitMs); }
    bool isInFlight()
    {
        return waitFor([this] { return !device(0).commands.empty(); });
    }
    bool waitUntilReachable() { return true; } // there is no link that could have been lost

    bool waitForAllEnds()
    {
        return waitFor([this] { return ends.size() == given.size(); });
    }

    void expectAnswer()
    {
        const Ticket ticket = givePatient();
        ASSERT_TRUE(waitForEnd(ticket));
        EXPECT_EQ(outcomeOf(ticket), "answered");
    }
};

template<typename Channel>
class ProcessFault : public Channel
{
};

using Channels = ::testing::Types<DeviceChannelOfProcess, OsdChannelOfProcess>;

} // namespace

TYPED_TEST_SUITE(ProcessFault, Channels, );

TYPED_TEST(ProcessFault, AForkedChildEndsAndTheHostGoesOn)
{
    this->startUp();
    this->givePatient();
    std::fflush(stdout);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::exit(0); // as a program does that failed to start another one; the loops are not there
    }
    int status = -1;
    ASSERT_TRUE(waitFor([&] { return waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    ASSERT_TRUE(this->waitForAllEnds());
    this->expectAnswer();
}

TYPED_TEST(ProcessFault, AProcessThatStandsStillLosesNoCommand)
{
    this->startUp();
    this->setMute(true);
    const auto late = this->giveUnanswered();
    const auto waiting = this->givePatient();
    ASSERT_TRUE(this->isInFlight());
    ASSERT_TRUE(QProcess::startDetached(
        QStringLiteral("sh"),
        {QStringLiteral("-c"),
         QStringLiteral("kill -STOP %1; sleep %2; kill -CONT %1").arg(getpid()).arg(stoppedSeconds())}));
    QElapsedTimer clock;
    clock.start();
    const int patienceBeyondTheStop = 1000 * stoppedSeconds() + patienceMs; // this process stands still meanwhile
    ASSERT_TRUE(waitFor([&] { return this->outcomeOf(late) != "none"; }, patienceBeyondTheStop));
    EXPECT_EQ(this->outcomeOf(late), "gaveUp");
    this->setMute(false);
    ASSERT_TRUE(this->waitForAllEnds());
    EXPECT_NE(this->outcomeOf(waiting), "none");
    ASSERT_TRUE(waitFor([&] { return clock.elapsed() >= 1000 * stoppedSeconds(); }, patienceBeyondTheStop));
    ASSERT_TRUE(this->waitUntilReachable());
    this->expectAnswer();
}
