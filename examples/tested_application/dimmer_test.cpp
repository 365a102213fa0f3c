#include "dimmer.h"

#include <gtest/gtest.h>

#include <testkit/command_recorder.h>
#include <testkit/google_test.h>
#include <testkit/simulated_device.h>
#include <testkit/test_clock.h>

// The application against a device in its own process: minutes pass in milliseconds.

namespace {

using namespace std::chrono_literals;
using namespace biz;
using testkit::FaultKind;

class DimmerTest : public ::testing::Test
{
protected:
    DimmerTest() { EXPECT_TRUE(dimmer.start()); }
    ~DimmerTest() override { EXPECT_HOLDS(recorder.keptPromises()); }

    bool isConfirmed(int percent)
    {
        return clock.runUntil([&] { return dimmer.confirmed() == percent; }, 10s);
    }

    testkit::TestClock clock;
    testkit::SimulatedDevice device{"A2"};
    Dimmer dimmer{device.makeLink()};
    testkit::CommandRecorder recorder{dimmer.host()};
};

TEST_F(DimmerTest, LateDeviceIsAskedAgainAndBelieved)
{
    device.failNext(FaultKind::Late);
    dimmer.setBrightness(40);
    EXPECT_TRUE(isConfirmed(40));
    EXPECT_HOLDS(testkit::heard(device, {"F1/08", "F1/08"}));
}

TEST_F(DimmerTest, ValueThatWasSetInAnOutageArrivesAfterIt)
{
    clock.advance(1s);
    device.setPower(false);
    clock.advance(10min);
    EXPECT_EQ(dimmer.trouble(), "the display is away");
    dimmer.setBrightness(70);
    device.setPower(true);
    EXPECT_TRUE(isConfirmed(70));
    EXPECT_EQ(dimmer.trouble(), "");
}

TEST_F(DimmerTest, RejectedReplyConfirmsNothing)
{
    device.failNext(FaultKind::ShortPayload, 2);
    dimmer.setBrightness(40);
    EXPECT_FALSE(isConfirmed(40));
    EXPECT_TRUE(dimmer.trouble().startsWith("brightness was not confirmed"));
}

TEST_F(DimmerTest, OfManyValuesThatWaitTheNewestIsSent)
{
    for (int percent = 1; percent <= 100; ++percent) {
        dimmer.setBrightness(percent);
    }
    EXPECT_TRUE(isConfirmed(100));
    EXPECT_EQ(recorder.count(host::Outcome::Superseded), 99);
    EXPECT_HOLDS(testkit::heard(device, {"F1/08"}));
}

TEST_F(DimmerTest, StopInTheMiddleLeavesNothingUnderWay)
{
    device.setReplyDelay(200ms);
    dimmer.setBrightness(40);
    EXPECT_TRUE(clock.runUntil([&] { return device.commands().size() == 1; }, 1s));
    dimmer.stop();
    clock.advance(1min);
    EXPECT_EQ(recorder.count(host::Outcome::Stopped), 1);
    EXPECT_EQ(dimmer.confirmed(), -1);
}

} // namespace
