#include <gtest/gtest.h>

#include <stdexcept>

#include <host/device_host.h>
#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <testkit/command_recorder.h>
#include <testkit/google_test.h>
#include <testkit/simulated_device.h>
#include <testkit/simulated_osd_devices.h>
#include <testkit/test_clock.h>

// Devices in the process are to hosts what devices on lines are.

namespace {

using namespace std::chrono_literals;
using namespace biz;
using host::LinkState;
using host::Outcome;
using testkit::FaultKind;

class SimulatedDeviceTest : public ::testing::Test
{
protected:
    SimulatedDeviceTest()
    {
        EXPECT_TRUE(channel.setLink(device.makeLink()) && channel.setModel("A2") && channel.start());
        clock.advance(10ms);
    }

    host::Ticket give() { return channel.enqueue(host::makeCommand(0xF1, 0x08)); }
    LinkState linkState() const { return channel.linkStatus().state; }

    testkit::TestClock clock;
    testkit::SimulatedDevice device;
    host::DeviceHost channel;
    testkit::CommandRecorder recorder{channel};
};

TEST_F(SimulatedDeviceTest, ForgottenCommandsAreNotToldAgain)
{
    static_cast<void>(give());
    clock.advance(100ms);
    EXPECT_EQ(device.commands().size(), 1);
    device.forgetCommands();
    EXPECT_TRUE(device.commands().isEmpty());
    static_cast<void>(give());
    clock.advance(100ms);
    EXPECT_EQ(device.commands().size(), 1);
    EXPECT_EQ(device.tally().received, 2U);
}

TEST_F(SimulatedDeviceTest, ClosedConnectionIsOpenedAgain)
{
    device.failNext(FaultKind::Close);
    const host::Ticket lost = give();
    clock.advance(100ms);
    EXPECT_EQ(linkState(), LinkState::Lost);
    EXPECT_HOLDS(recorder.endedAs(lost, Outcome::Unreachable));
    clock.advance(2s);
    EXPECT_EQ(linkState(), LinkState::Up);
}

TEST_F(SimulatedDeviceTest, VanishedDeviceIsNotThereForItsTime)
{
    device.failNext(FaultKind::Vanish);
    static_cast<void>(give());
    clock.advance(1900ms);
    EXPECT_EQ(linkState(), LinkState::Lost);
    clock.advance(2s);
    EXPECT_EQ(linkState(), LinkState::Up);
}

TEST_F(SimulatedDeviceTest, StalledDeviceReadsNothingThatWasThrownAway)
{
    device.failNext(FaultKind::Stall);
    const host::Ticket first = give();
    clock.advance(100ms);
    channel.clear();
    clock.advance(10s);
    EXPECT_HOLDS(recorder.endedAs(first, Outcome::Cleared));
    const host::Ticket next = give();
    clock.advance(1s);
    EXPECT_HOLDS(recorder.endedAs(next, Outcome::Answered));
    EXPECT_HOLDS(testkit::heard(device, {"F1/08", "F1/08"}));
}

TEST_F(SimulatedDeviceTest, StalledDeviceIsNotSilentWithinTwiceTheWaitOfItsCommands)
{
    channel.setPipelined(true);
    device.failNext(FaultKind::Stall);
    for (int i = 0; i < 2; ++i) {
        model_Protocoldata command = host::makeCommand(0xF1, 0x08);
        command.iWaitTime = 3000;
        static_cast<void>(channel.enqueue(command));
        clock.advance(100ms);
    }
    clock.advance(1700ms); // longer than the shortest silence that is one
    EXPECT_EQ(linkState(), LinkState::Up);
}

TEST_F(SimulatedDeviceTest, FaultsThatAreAskedForStrikeOneAfterTheOther)
{
    testkit::ScriptEntry always;
    always.fault = FaultKind::Duplicate;
    device.addFault(always);
    device.failNext(FaultKind::Close);
    device.failNext(FaultKind::Junk, 2);
    for (int i = 0; i < 4; ++i) {
        static_cast<void>(give());
        clock.advance(5s);
    }
    const auto struck = [this](FaultKind kind) {
        return device.tally().faults.at(static_cast<std::size_t>(kind));
    };
    EXPECT_EQ(struck(FaultKind::Close), 1U);
    EXPECT_EQ(struck(FaultKind::Junk), 2U);
    EXPECT_EQ(struck(FaultKind::Duplicate), 1U);
}

TEST_F(SimulatedDeviceTest, EveryFaultLeavesTheNextCommandUnharmed)
{
    for (int kind = 0; kind < testkit::faultKinds; ++kind) {
        device.failNext(static_cast<FaultKind>(kind));
        static_cast<void>(give());
        clock.advance(10s);
        const host::Ticket next = give();
        clock.advance(10s);
        EXPECT_HOLDS(recorder.endedAs(next, Outcome::Answered)) << "after fault " << kind;
    }
    EXPECT_HOLDS(recorder.keptPromises());
}

TEST_F(SimulatedDeviceTest, DeviceThatIsDestroyedIsGoneForItsHost)
{
    auto own = std::make_unique<testkit::SimulatedDevice>("A3");
    channel.stop();
    EXPECT_TRUE(channel.setLink(own->makeLink()) && channel.start());
    clock.advance(10ms);
    EXPECT_EQ(linkState(), LinkState::Up);
    own.reset();
    clock.advance(5s);
    EXPECT_EQ(linkState(), LinkState::Lost);
}

TEST(SimulatedDevice, ModelThatIsNoneIsRefused)
{
    EXPECT_THROW(testkit::SimulatedDevice("A9"), std::invalid_argument);
}

class SimulatedOsdDevicesTest : public ::testing::Test
{
protected:
    SimulatedOsdDevicesTest() { EXPECT_TRUE(channel.setTransport(wall.makeTransport()) && channel.start()); }

    host::Ticket give(const QString &address)
    {
        model_OsdParam command;
        command.qsIp = address;
        return channel.enqueue(command);
    }

    testkit::TestClock clock;
    testkit::SimulatedOsdDevices wall{"10.0.0.1", 3};
    host::OsdHost channel;
    testkit::CommandRecorder recorder{channel};
};

TEST_F(SimulatedOsdDevicesTest, SilentOneDelaysNoOther)
{
    wall.failNext("10.0.0.2", FaultKind::Silence);
    QVector<host::Ticket> tickets;
    for (const QString &address : wall.addresses()) {
        tickets.append(give(address));
    }
    clock.advance(100ms);
    EXPECT_HOLDS(recorder.endedInOrder({tickets[0], tickets[2]}));
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(tickets[1], Outcome::GaveUp));
}

TEST_F(SimulatedOsdDevicesTest, WithoutPowerOneIsNotThereUntilItHasItAgain)
{
    wall.setReplyDelay(100ms);
    const host::Ticket underWay = give("10.0.0.2");
    clock.advance(50ms);
    wall.setPower("10.0.0.2", false);
    wall.setPower("10.0.0.2", true);
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(underWay, Outcome::GaveUp)); // what it had to say went with its power
    wall.setPower("10.0.0.2", false);
    const host::Ticket without = give("10.0.0.2");
    const host::Ticket other = give("10.0.0.3");
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(without, Outcome::GaveUp));
    EXPECT_HOLDS(recorder.endedAs(other, Outcome::Answered));
    wall.setPower("10.0.0.2", true);
    const host::Ticket again = give("10.0.0.2");
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(again, Outcome::Answered));
}

TEST(SimulatedOsdDevices, BlackoutHoldsBackRepliesThatWereToLeaveInIt)
{
    testkit::TestClock clock;
    testkit::SimulatedOsdDevices wall("10.0.0.1", 1);
    wall.setReplyDelay(500ms);
    const auto line = wall.makeTransport();
    ASSERT_EQ(line->open(QHostAddress(QHostAddress::AnyIPv4)), "");
    int replies = 0;
    QObject::connect(line.get(), &host::DatagramTransport::received, line.get(), [&replies] { ++replies; });
    const auto send = [&line] {
        static_cast<void>(line->send(QHostAddress("10.0.0.1"), host::OsdHost::defaultPort,
                                     host::OsdDatagramCodec::encode(model_OsdParam())));
    };
    send();
    clock.advance(100ms);
    wall.failNext("10.0.0.1", FaultKind::Blackout);
    send();
    clock.advance(1s);
    EXPECT_EQ(wall.tally().received, 2U);
    EXPECT_EQ(replies, 0);
    clock.advance(5s);
    send();
    clock.advance(1s);
    EXPECT_EQ(replies, 1);
}

TEST(SimulatedOsdDevices, WhatIsNoRowOrNoneOfItIsRefused)
{
    EXPECT_THROW(testkit::SimulatedOsdDevices("ten", 1), std::invalid_argument);
    EXPECT_THROW(testkit::SimulatedOsdDevices("255.255.255.255", 2), std::invalid_argument);
    testkit::SimulatedOsdDevices wall("10.0.0.1", 3);
    EXPECT_THROW(wall.failNext("10.0.0.4", FaultKind::Silence), std::invalid_argument);
    EXPECT_THROW(wall.setPower("10.0.0.4", false), std::invalid_argument);
}

} // namespace
