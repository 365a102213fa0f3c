#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include <biz_cmdswork/biz_cmdswork.h>
#include <device/channel/device_channel_p.h>
#include <device/device_replies_p.h>

using namespace biz::host;

namespace {

/** Replies whose numbers begin where a test wants them, and a channel in which no loop runs. */
class DeviceRepliesFixture : public testing::Test
{
protected:
    ~DeviceRepliesFixture() override { device_channel::reset(); }

    /** A command in flight under a sequence byte. */
    Ticket inFlight(quint8 sequence)
    {
        const Ticket ticket = commands.enter(commands.lane(), {}, {}, nullptr);
        commands.markInFlight(*commands.handOver(commands.lane()), withSequence(sequence), false);
        return ticket;
    }

    static model_Protocoldata withSequence(quint8 sequence)
    {
        model_Protocoldata record;
        record.ucHead[0] = sequence;
        return record;
    }

    /** What the channel says of the reply of this number. */
    static model_Protocoldata accepted(quint32 number)
    {
        model_Protocoldata reply;
        reply.nTag = number;
        return reply;
    }

    Outbox outbox{nullptr};
    TicketSource tickets;
    DeviceCommands commands{nullptr, &outbox, &tickets};
    HostSignals<DeviceHost> signalsOfHost{nullptr};
};

} // namespace

TEST_F(DeviceRepliesFixture, AnAnswerIsKnownByItsNumberAlsoWhereNumbersBeginAnew)
{
    constexpr quint32 last = std::numeric_limits<quint32>::max();
    DeviceReplies replies(&commands, &signalsOfHost, last - 2);
    const Ticket first = inFlight(1);
    const Ticket second = inFlight(2);
    replies.take(withSequence(1)); // last - 1
    replies.take(withSequence(1)); // last: a further one
    replies.take(withSequence(2)); // 0

    const auto answer = replies.onAccepted(accepted(last - 1));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->command->ticket, first);
    EXPECT_TRUE(replies.onAccepted(accepted(last)));
    const auto next = replies.onAccepted(accepted(0));
    ASSERT_TRUE(next);
    EXPECT_EQ(next->command->ticket, second);
    EXPECT_EQ(replies.underWay(), 0);
}

TEST_F(DeviceRepliesFixture, AFurtherReplyIsJudgedAfterTheAnswersOfOthers)
{
    DeviceReplies replies(&commands, &signalsOfHost);
    inFlight(1);
    inFlight(2);
    for (const int sequence : {1, 1, 2}) {
        replies.take(withSequence(static_cast<quint8>(sequence)));
    }
    std::vector<quint32> numbers;
    for (auto &queue = biz_CMDSWork::receivequeueHexCmd; !queue.empty(); queue.pop()) {
        numbers.push_back(queue.front().nTag);
    }
    EXPECT_EQ(numbers, (std::vector<quint32>{1, 3, 2}));
}
