#include <algorithm>
#include <stdexcept>

#include <gtest/gtest.h>

#include <testkit/command_recorder.h>
#include <testkit/google_test.h>
#include <testkit/simulated_device.h>
#include <testkit/simulated_osd_devices.h>
#include <testkit/test_clock.h>

namespace {

using namespace std::chrono_literals;
using namespace biz;
using host::Outcome;

const QString deviceRecording = QStringLiteral(BIZ_RECORDINGS "/device_faults.jsonl");
const QString osdRecording = QStringLiteral(BIZ_RECORDINGS "/osd_faults.jsonl");

/** A command by its head without the sequence byte, as the recorded run gave it. */
model_Protocoldata command(const char *headInHex)
{
    constexpr int recordedWaitMs = 300;
    const QByteArray head = QByteArray::fromHex(headInHex);
    model_Protocoldata record;
    std::copy(head.begin(), head.end(), record.ucHead + 1);
    record.iWaitTime = recordedWaitMs;
    return record;
}

const model_Protocoldata getScene = command("F10803620100");

/** A host whose device answers as the recorded one did. */
class RecordedDevice : public ::testing::Test
{
protected:
    RecordedDevice() { EXPECT_TRUE(channel.setLink(device->makeLink()) && channel.setModel("A2") && channel.start()); }

    host::Ticket give(const model_Protocoldata &record) { return channel.enqueue(record); }

    testkit::TestClock clock;
    std::unique_ptr<testkit::SimulatedDevice> device = testkit::SimulatedDevice::fromRecording(deviceRecording);
    host::DeviceHost channel;
    testkit::CommandRecorder recorder{channel};
};

TEST_F(RecordedDevice, TheRecordedRunHappensAgain)
{
    const QVector<host::Ticket> tickets{give(getScene),
                                        give(command("681205000000")),
                                        give(command("F10500810000")),
                                        give(command("F10300210000")),
                                        give(command("F10E000A0000")),
                                        give(command("F11200050000"))};
    clock.advance(10s);
    const QVector<Outcome> outcomes{Outcome::Answered, Outcome::GaveUp,   Outcome::Answered,
                                    Outcome::GaveUp,   Outcome::Answered, Outcome::Answered};
    for (int i = 0; i < tickets.size(); ++i) {
        EXPECT_HOLDS(recorder.endedAs(tickets.at(i), outcomes.at(i)));
    }
    const host::Counters counters = channel.counters();
    EXPECT_EQ(counters.late, 1U);
    EXPECT_EQ(counters.rejected, 3U);
    EXPECT_EQ(counters.duplicate, 1U);
    EXPECT_EQ(counters.foreign, 1U);
}

TEST_F(RecordedDevice, WhatItSaidLastItSaysAgain)
{
    const host::Ticket first = give(getScene);
    const host::Ticket second = give(getScene);
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(first, Outcome::Answered));
    EXPECT_HOLDS(recorder.endedAs(second, Outcome::Answered));
}

TEST_F(RecordedDevice, ACommandThatIsNotInTheRecordingHearsNothing)
{
    const host::Ticket ticket = give(command("F10803620200"));
    clock.advance(5s);
    EXPECT_HOLDS(recorder.endedAs(ticket, Outcome::GaveUp));
    EXPECT_EQ(device->tally().received, 2U);
    EXPECT_EQ(device->tally().replies, 0U);
}

TEST_F(RecordedDevice, AFaultStrikesARecordedReply)
{
    device->failNext(testkit::FaultKind::ShortPayload);
    give(getScene);
    clock.advance(5s);
    EXPECT_EQ(channel.counters().rejected, 1U);
}

TEST(RecordedOsdDevices, TheRecordedRunHappensAgainAtTheRecordedAddresses)
{
    testkit::TestClock clock;
    const auto devices = testkit::SimulatedOsdDevices::fromRecording(osdRecording);
    host::OsdHost host;
    const testkit::CommandRecorder recorder(host);
    ASSERT_TRUE(host.setTransport(devices->makeTransport()) && host.start());
    QVector<host::Ticket> tickets;
    for (const QString &address : devices->addresses()) {
        model_OsdParam text;
        text.qsIp = address;
        text.baData = "Welcome";
        text.ucOsdFlag = 1;
        text.ucOsdHead[0] = 0x0D;
        text.ucOsdHead[1] = 0x01;
        text.iWaitTime = 1000;
        tickets.append(host.enqueue(text));
    }
    clock.advance(5s);
    ASSERT_EQ(devices->addresses(), (QStringList{"127.1.0.1", "127.1.0.2", "127.1.0.3", "127.1.0.4"}));
    EXPECT_HOLDS(recorder.endedAs(tickets.at(0), Outcome::Answered));
    EXPECT_HOLDS(recorder.endedAs(tickets.at(1), Outcome::GaveUp));
    EXPECT_EQ(host.counters().duplicate, 1U);
    EXPECT_EQ(host.counters().late, 1U);
}

TEST(RecordedOsdDevices, WhatIsNoSuchRecordingIsRefused)
{
    EXPECT_THROW(testkit::SimulatedOsdDevices::fromRecording(deviceRecording), std::invalid_argument);
    EXPECT_THROW(testkit::SimulatedDevice::fromRecording(osdRecording), std::invalid_argument);
    EXPECT_THROW(testkit::SimulatedDevice::fromRecording(QStringLiteral("nowhere.jsonl")), std::invalid_argument);
}

} // namespace
