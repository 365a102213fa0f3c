#include <gtest/gtest.h>

#include <biz_gateway/broker/message_inbox.h>
#include <biz_gateway/commands/command_message.h>

// What becomes of single messages; no broker is needed.

using namespace biz::gateway;

namespace {

/** How long a command is worth sending whose message lives for so many seconds. */
std::chrono::milliseconds validity(quint32 expiresInS, const QByteArray &more = {})
{
    Message message;
    message.payload = R"({"id":"7","head":"68 12 00 00 00 00")" + more + '}';
    message.expiresInS = expiresInS;
    const CommandMessage command = readCommandMessage(message, {Channel::Device, "a"});
    EXPECT_EQ(command.problem, "");
    return command.request.options.validFor;
}

} // namespace

TEST(MessageOfACommand, LivesAsLongAsTheCommandIsWorthSending)
{
    EXPECT_EQ(validity(60), std::chrono::minutes(1));
    EXPECT_EQ(validity(60, R"(,"validForMs":2000)"), std::chrono::seconds(2));
}

TEST(MessageOfACommand, ThatLivesLongerThanACommandCanSayMakesItValidForThatLong)
{
    EXPECT_EQ(validity(3601), std::chrono::hours(1));
    EXPECT_EQ(validity(7200, R"(,"validForMs":2000)"), std::chrono::seconds(2));
}

TEST(MessageInbox, CountsAllThatAMessageHolds)
{
    Message message;
    message.topic = QString(100, 't');
    message.payload = QByteArray(1000, 'p');
    message.responseTopic = QString(200, 'r');
    message.correlation = QByteArray(400, 'c');
    EXPECT_EQ(MessageInbox::costOf(message), 2000);
}
