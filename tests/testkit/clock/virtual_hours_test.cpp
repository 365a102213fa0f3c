#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>

#include <host/device_host.h>
#include <host/osd_host.h>
#include <testkit/simulated_device.h>
#include <testkit/simulated_osd_devices.h>
#include <testkit/test_clock.h>

// Library, kit and simulated devices in virtual time, for as long as a day on site has hours.

namespace {

using namespace std::chrono_literals;
using namespace biz::testkit;
namespace host = biz::host;

/** A running host of a device, and how its commands ended. */
class Session
{
public:
    explicit Session(SimulatedDevice &device)
    {
        EXPECT_TRUE(host.setLink(device.makeLink()) && host.setModel("A2"));
        QObject::connect(&host, &host::DeviceHost::ended, &host,
                         [this](host::Ticket, const host::CommandResult &result) { ++ends[result.outcome]; });
        EXPECT_TRUE(host.start());
    }

    void give() { EXPECT_NE(host.enqueue(host::makeCommand(0xF1, 0x08)), 0U); }

    host::DeviceHost host;
    std::map<host::Outcome, int> ends;
};

TEST(VirtualHours, DeviceThatWasAwayForTenMinutesAnswersAgain)
{
    TestClock clock;
    SimulatedDevice device;
    Session session(device);
    clock.advance(1s);
    device.setPower(false);
    clock.advance(10min);
    EXPECT_EQ(session.host.linkStatus().state, host::LinkState::Lost);
    EXPECT_GT(session.host.linkStatus().attempts, 500);

    device.setPower(true);
    EXPECT_TRUE(clock.runUntil([&] { return session.host.linkStatus().state == host::LinkState::Up; }, 2s));
    session.give();
    EXPECT_TRUE(clock.runUntil([&] { return session.host.pending() == 0; }, 1s));
    clock.advance(1ms);
    EXPECT_EQ(session.ends[host::Outcome::Answered], 1);
}

TEST(VirtualHours, AnHourAtOneCommandASecondIsAnswered)
{
    TestClock clock;
    SimulatedDevice device;
    device.setReplyDelay(20ms);
    Session session(device);
    QTimer everySecond;
    QObject::connect(&everySecond, &QTimer::timeout, [&] { session.give(); });
    everySecond.setTimerType(Qt::PreciseTimer);
    everySecond.start(1s);
    clock.advance(1h + 500ms);
    EXPECT_EQ(session.ends[host::Outcome::Answered], 3600);
    EXPECT_EQ(device.commands().size(), 3600);
}

TEST(VirtualHours, AHundredOsdDevicesAnswerForAnHour)
{
    QLoggingCategory::setFilterRules("default.debug=false"); // the channel tells of each lock
    TestClock clock;
    SimulatedOsdDevices wall("10.0.0.1", 100);
    host::OsdHost host;
    int answered = 0;
    QObject::connect(&host, &host::OsdHost::ended, [&](host::Ticket, const host::OsdCommandResult &result) {
        answered += result.outcome == host::Outcome::Answered ? 1 : 0;
    });
    EXPECT_TRUE(host.setTransport(wall.makeTransport()) && host.start());
    QTimer everyMinute;
    QObject::connect(&everyMinute, &QTimer::timeout, [&] {
        for (const QString &address : wall.addresses()) {
            model_OsdParam command;
            command.qsIp = address;
            EXPECT_NE(host.enqueue(command), 0U);
        }
    });
    everyMinute.start(1min);
    clock.advance(1h + 1s);
    EXPECT_EQ(answered, 60 * 100);
}

} // namespace
