#include <map>

#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>

#include <host/device_host.h>
#include <host/osd_host.h>
#include <testkit/simulated_device.h>
#include <testkit/simulated_osd_devices.h>
#include <testkit/test_clock.h>

// The wall clock is set while hosts run: by hours, forth and back.

namespace {

using namespace std::chrono_literals;
using namespace biz::testkit;
namespace host = biz::host;

constexpr int waitMs = 3000;

void setClockBy(std::chrono::seconds jump, TestClock &clock)
{
    clock.setWallClock(QDateTime::currentDateTimeUtc().addSecs(jump.count()));
}

/** Jumps of the wall clock. */
class SetClock : public ::testing::TestWithParam<std::chrono::hours>
{
protected:
    TestClock clock;
};

class SetClockUnderOsd : public SetClock
{
protected:
    void SetUp() override
    {
        QLoggingCategory::setFilterRules("default.debug=false"); // the channel tells of each lock
        QObject::connect(&osd, &host::OsdHost::ended, &osd, [this](host::Ticket ticket, const auto &result) {
            ends[ticket] = result;
            endedAt[ticket] = clock.elapsed();
        });
        ASSERT_TRUE(osd.setTransport(wall.makeTransport()) && osd.setDefaultWaitTime(waitMs) && osd.start());
    }

    host::Ticket give()
    {
        model_OsdParam command;
        command.qsIp = QStringLiteral("10.0.0.1");
        return osd.enqueue(command);
    }

    SimulatedOsdDevices wall{QStringLiteral("10.0.0.1"), 1};
    host::OsdHost osd;
    std::map<host::Ticket, host::OsdCommandResult> ends;
    std::map<host::Ticket, std::chrono::nanoseconds> endedAt;
};

} // namespace

TEST_P(SetClock, ADeviceHostTakesNoNoticeOfIt)
{
    SimulatedDevice device;
    device.setReplyDelay(100ms);
    host::DeviceHost channel;
    std::map<host::Ticket, host::CommandResult> ends;
    QObject::connect(&channel, &host::DeviceHost::ended, &channel,
                     [&](host::Ticket ticket, const auto &result) { ends[ticket] = result; });
    ASSERT_TRUE(channel.setLink(device.makeLink()) && channel.start());
    for (int i = 0; i < 3; ++i) {
        const host::Ticket ticket = channel.enqueue(host::makeCommand(0xF1, 0x08));
        clock.advance(50ms);
        setClockBy(GetParam(), clock);
        ASSERT_TRUE(clock.runUntil([&] { return ends.count(ticket) != 0; }, 1s));
        EXPECT_EQ(host::outcomeName(ends[ticket].outcome), "answered");
        EXPECT_LT(ends[ticket].roundTripMs, 200.0);
    }
}

TEST_P(SetClockUnderOsd, ACommandIsGivenUpInItsTimeAndTheNextIsAnswered)
{
    wall.failNext(QStringLiteral("10.0.0.1"), FaultKind::Silence);
    const auto begin = clock.elapsed();
    const host::Ticket silent = give();
    const host::Ticket next = give();
    clock.advance(200ms);
    setClockBy(GetParam(), clock);

    ASSERT_TRUE(clock.runUntil([&] { return ends.count(silent) != 0; }, 10s));
    EXPECT_EQ(host::outcomeName(ends[silent].outcome), "gaveUp");
    EXPECT_GE(endedAt[silent] - begin, std::chrono::milliseconds(waitMs) - 1s);
    EXPECT_LE(endedAt[silent] - begin, std::chrono::milliseconds(waitMs) + 1500ms);
    ASSERT_TRUE(clock.runUntil([&] { return ends.count(next) != 0; }, 1s));
    EXPECT_EQ(host::outcomeName(ends[next].outcome), "answered");
}

TEST_P(SetClockUnderOsd, AReplyIsTakenAllTheSame)
{
    wall.setReplyDelay(500ms);
    const host::Ticket ticket = give();
    clock.advance(200ms);
    setClockBy(GetParam(), clock);
    ASSERT_TRUE(clock.runUntil([&] { return ends.count(ticket) != 0; }, 10s));
    EXPECT_EQ(host::outcomeName(ends[ticket].outcome), "answered");
}

INSTANTIATE_TEST_SUITE_P(ByHours, SetClock, ::testing::Values(std::chrono::hours(30), std::chrono::hours(-30)));
INSTANTIATE_TEST_SUITE_P(ByHours, SetClockUnderOsd, ::testing::Values(std::chrono::hours(30), std::chrono::hours(-30)));
