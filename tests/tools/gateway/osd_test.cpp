#include <tools/support/running_simulator.h>

#include "gateway_fixture.h"

using namespace biz::test;

namespace {

/** A gateway with two OSD devices, of which the second one is silent. */
class GatewayOfOsdDevices : public GatewayFixture
{
protected:
    void SetUp() override
    {
        GatewayFixture::SetUp();
        if (IsSkipped()) {
            return;
        }
        simulator = std::make_unique<RunningSimulator>("--osd 2 --osd-silent 1 --port 0");
        const int port = simulator->listeningPort();
        ASSERT_NE(port, 0);
        extraKeys = {{"osd", QJsonObject{{"port", port}, {"devices", QJsonArray{answering, silent}}}}};
        gateway = std::make_unique<RunningGateway>(config(), folder.path("gateway"));
        ASSERT_FALSE(client->waitFor("biz/hall/gateway/status", "state", "online").isEmpty())
            << gateway->output().toStdString();
    }

    static QString topicOf(const QString &ip, const QString &what) { return "biz/hall/osd/" + ip + '/' + what; }

    QString eventOf(const QString &ip, const QByteArray &id)
    {
        client->publish(topicOf(ip, "command"),
                        R"({"id":")" + id + R"(","head":"0D 01 00 00 00 00 00 00 00 00 00","text":"hello"})");
        return client->waitFor(topicOf(ip, "outcome"), "id", id).value("event").toString();
    }

    const QString answering = "127.1.0.1";
    const QString silent = "127.1.0.2";
    std::unique_ptr<RunningSimulator> simulator;
};

} // namespace

TEST_F(GatewayOfOsdDevices, CommandsAreAnsweredAndTheirDeviceIsUp)
{
    EXPECT_FALSE(client->waitFor(topicOf(answering, "state"), "state", "unknown").isEmpty());
    EXPECT_EQ(eventOf(answering, "7"), "answered");
    EXPECT_EQ(client->waitFor(topicOf(answering, "outcome"), "id", "7").value("device").toString(), answering);
    EXPECT_FALSE(client->waitFor(topicOf(answering, "state"), "state", "up").isEmpty());
}

TEST_F(GatewayOfOsdDevices, ASilentOneIsToldSinceWhen)
{
    EXPECT_EQ(eventOf(silent, "7"), "gaveUp");
    EXPECT_FALSE(client->waitFor(topicOf(silent, "state"), "state", "silent").value("since").toString().isEmpty());
    EXPECT_EQ(eventOf(answering, "8"), "answered");
}

TEST_F(GatewayOfOsdDevices, AReloadChangesHowLongRepliesAreWaitedFor)
{
    QJsonObject keys = extraKeys.value("osd").toObject();
    keys.insert("waitMs", 3600000);
    extraKeys.insert("osd", keys);
    gateway.reset();
    gateway = std::make_unique<RunningGateway>(config(), folder.path("gateway"));
    ASSERT_TRUE(gateway->waitForOutput("connected to the broker"));
    keys.insert("waitMs", 1000);
    extraKeys.insert("osd", keys);
    gateway->write(config());
    gateway->send(SIGHUP);
    ASSERT_TRUE(gateway->waitForOutput("the configuration was read again"));
    EXPECT_EQ(eventOf(silent, "8"), "gaveUp");
}

TEST_F(GatewayOfOsdDevices, AReloadForgetsOneAndKeepsTheOther)
{
    EXPECT_EQ(eventOf(answering, "7"), "answered");
    QJsonObject keys = extraKeys.value("osd").toObject();
    keys.insert("devices", QJsonArray{answering});
    extraKeys.insert("osd", keys);
    gateway->write(config());
    gateway->send(SIGHUP);
    ASSERT_TRUE(gateway->waitForOutput("the configuration was read again"));
    EXPECT_EQ(eventOf(silent, "8"), "error");
    EXPECT_EQ(eventOf(answering, "9"), "answered");
}
