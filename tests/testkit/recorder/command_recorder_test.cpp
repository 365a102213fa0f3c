#include <gtest/gtest.h>

#include <testkit/command_recorder.h>
#include <testkit/google_test.h>
#include <testkit/simulated_device.h>
#include <testkit/test_clock.h>

namespace {

using namespace std::chrono_literals;
using namespace biz;
using host::Outcome;

class CommandRecorderTest : public ::testing::Test
{
protected:
    CommandRecorderTest()
    {
        EXPECT_TRUE(channel.setLink(device.makeLink()) && channel.setModel("A2") && channel.start());
    }

    host::Ticket give(quint8 subCode) { return channel.enqueue(host::makeCommand(0xF1, subCode)); }

    testkit::TestClock clock;
    testkit::SimulatedDevice device;
    host::DeviceHost channel;
    testkit::CommandRecorder recorder{channel};
};

TEST_F(CommandRecorderTest, FindsHowEachCommandEndedAndInWhichOrder)
{
    const host::Ticket first = give(0x08);
    const host::Ticket second = give(0x09);
    device.failNext(testkit::FaultKind::Silence, 2);
    clock.advance(10s);
    EXPECT_HOLDS(recorder.endedAs(first, Outcome::GaveUp));
    EXPECT_HOLDS(recorder.endedAs(second, Outcome::Answered));
    EXPECT_HOLDS(recorder.endedInOrder({first, second}));
    EXPECT_HOLDS(recorder.wroteInOrder({first, first, second}));
    EXPECT_HOLDS(recorder.keptPromises());
    EXPECT_HOLDS(testkit::heard(device, {"F1/08", "F1/08", "F1/09"}));
}

TEST_F(CommandRecorderTest, TellsWhatItFoundInstead)
{
    const host::Ticket ticket = give(0x08);
    EXPECT_EQ(recorder.endedAs(ticket, Outcome::Answered).text,
              QStringLiteral("command %1: expected answered, found no end so far").arg(ticket));
    clock.advance(1s);
    EXPECT_TRUE(recorder.endedAs(ticket, Outcome::GaveUp)
                    .text.startsWith(QStringLiteral("command %1: expected gaveUp, found answered - ").arg(ticket)));
    EXPECT_EQ(testkit::heard(device, {}).text, "what the device heard: expected none, found F1/08");
    EXPECT_FALSE(recorder.endedInOrder({ticket, ticket}));
    EXPECT_FALSE(recorder.wroteInOrder({}));
}

} // namespace
