#include <atomic>
#include <chrono>
#include <thread>

#include <QtCore/QDeadlineTimer>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdChannelUse : public OsdHostFixture
{
};

using Lock = std::lock_guard<std::mutex>;

bool isFreeInTheChannel(const QString &ip)
{
    const Lock lock(biz_Osd_CMDSWork::HexCmdlock);
    return biz_Osd_CMDSWork::m_bRetFlag.value(ip, true);
}

} // namespace

TEST_F(OsdChannelUse, OneCommandOfEachDeviceIsInTheChannelAtMost)
{
    constexpr int commands = 10;
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    for (int i = 0; i < commands; ++i) {
        enqueue(one);
    }
    const Lock lock(biz_Osd_CMDSWork::HexCmdlock);
    const auto slot = biz_Osd_CMDSWork::m_qsIp.indexOf(one.ip);
    ASSERT_GE(slot, 0);
    EXPECT_TRUE(biz_Osd_CMDSWork::queueHexCmd.at(slot).empty());
}

TEST_F(OsdChannelUse, ACommandThatAFormerHostHasHandedOverIsLetThrough)
{
    PlayedDevice &one = device(1);
    start();
    enqueue(one, endlessWaitMs, "of the former host");
    makeHost();
    start();
    EXPECT_EQ(waitForOutcome(enqueue(one, answeredWaitMs, "of this one")), "answered");
    EXPECT_EQ(one.payloads(), QByteArrayList{"of this one"});
}

TEST_F(OsdChannelUse, ACommandThatAFormerHostHadInFlightHoldsNothingUp)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    makeHost();
    start();
    one.answers = true;
    EXPECT_EQ(waitForOutcome(enqueue(one)), "answered");
}

TEST_F(OsdChannelUse, CommandsThatWereLeftInTheChannelAreLetThroughAndNotWritten)
{
    constexpr int leftOver = 5;
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    host.reset();
    for (int i = 0; i < leftOver; ++i) {
        biz_Osd_CMDSWork::addToSendQueue(command(one.ip, endlessWaitMs, "left over"));
    }
    makeHost();
    one.commands.clear();
    start();
    EXPECT_EQ(waitForOutcome(enqueue(one, answeredWaitMs, "new")), "answered");
    EXPECT_EQ(one.payloads(), QByteArrayList{"new"});
}

TEST_F(OsdChannelUse, AHostThatIsDestroyedLetsThroughWhatItHasNotLookedAt)
{
    constexpr int announcedWithinMs = 50; // a later announcement finds no host, which lets it through as well
    PlayedDevice &one = device(1);
    start();
    host->stop();
    biz_Osd_CMDSWork::addToSendQueue(command(one.ip, endlessWaitMs, "of nobody"));
    for (const QDeadlineTimer patience(patienceMs); isFreeInTheChannel(one.ip);) { // without the event loop
        ASSERT_FALSE(patience.hasExpired());
        std::this_thread::yield();
    }
    keepThreadBusy(announcedWithinMs);
    host.reset();
    EXPECT_TRUE(waitFor([&one] { return isFreeInTheChannel(one.ip); }));
}

// A thread that looks at the device all the time says when the library has freed it.
TEST_F(OsdChannelUse, AGiveUpIsNoticedWithinTwentyMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds soon(20);
    constexpr int tries = 5; // a machine that is busy elsewhere delays some of them
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    auto quickest = std::chrono::milliseconds::max();
    for (int i = 0; i < tries && quickest > soon; ++i) {
        const std::size_t before = one.commands.size();
        const Ticket ticket = enqueue(one, givenUpWaitMs);
        ASSERT_TRUE(waitFor([&] { return one.commands.size() > before; }));
        std::atomic<Clock::rep> freedAt{0};
        std::thread watch([&] {
            const QDeadlineTimer patience(patienceMs);
            while (!isFreeInTheChannel(one.ip) && !patience.hasExpired()) {
                std::this_thread::yield();
            }
            freedAt = Clock::now().time_since_epoch().count();
        });
        EXPECT_TRUE(waitForEnd(ticket));
        const Clock::time_point endedAt = Clock::now();
        watch.join();
        const Clock::time_point freed{Clock::duration(freedAt.load())};
        quickest = std::min(quickest, std::chrono::duration_cast<std::chrono::milliseconds>(endedAt - freed));
    }
    EXPECT_LE(quickest.count(), soon.count());
}

// The event that an announcement has posted comes behind the stop.
TEST_F(OsdChannelUse, AnAnnouncementThatNobodyHasLookedAtYetAsksNothingOfASocketThatAStopHasClosed)
{
    static QStringList complaints;
    complaints.clear();
    PlayedDevice &one = device(1);
    start();
    enqueue(one);
    for (const QDeadlineTimer patience(patienceMs); isFreeInTheChannel(one.ip);) { // without the event loop
        ASSERT_FALSE(patience.hasExpired());
        std::this_thread::yield();
    }
    const auto before = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg) {
            complaints.append(text);
        }
    });
    EXPECT_TRUE(host->stop().clean());
    QCoreApplication::processEvents();
    qInstallMessageHandler(before);
    EXPECT_EQ(complaints, QStringList());
}
