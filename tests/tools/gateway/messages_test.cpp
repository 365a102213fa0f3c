#include <gtest/gtest.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_gateway/broker/message_inbox.h>
#include <biz_gateway/commands/command_message.h>
#include <biz_gateway/gateway/announcer.h>
#include <support/scratch_folder.h>

// What becomes of single messages; no broker is needed.

using namespace biz::gateway;
using biz::test::ScratchFolder;

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

/** A gateway that looks at what other gateways of its site say. */
class LookingGateway
{
public:
    LookingGateway()
    {
        QObject::connect(&announcer, &Announcer::rivalAppeared, &announcer, [this] { m_hasRival = true; });
    }

    /** Whether a status that the broker has kept, of a gateway that began later, is taken for that of a rival. */
    bool hasRivalIn(const Publication &status)
    {
        QJsonObject keys = QJsonDocument::fromJson(status.payload).object();
        keys.insert("instance", "another");
        keys.insert("since", "2999-12-31T00:00:00.000Z");
        Message message;
        message.topic = status.topic;
        message.payload = QJsonDocument(keys).toJson();
        message.isRetained = true;
        m_hasRival = false;
        Q_EMIT m_session.received({message});
        return m_hasRival;
    }

private:
    const ScratchFolder m_folder;
    const Instance m_instance;
    bool m_hasRival = false;
    SiteDevices m_devices{m_folder.path("devices")};
    BrokerSession m_session{{}, {}};

public:
    Announcer announcer{&m_devices, &m_session, config(), m_instance};

    static GatewayConfig config()
    {
        GatewayConfig config;
        config.site = "hall";
        return config;
    }
};

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

TEST(Announcer, YoungerGatewayThatWasStoppedIsNoRival)
{
    LookingGateway gateway;
    EXPECT_FALSE(gateway.hasRivalIn(gateway.announcer.lastWord()));
}

TEST(Announcer, YoungerGatewayThatWasLostMayStillBeThere)
{
    LookingGateway gateway;
    EXPECT_TRUE(gateway.hasRivalIn(Announcer::will("hall", Instance())));
}
