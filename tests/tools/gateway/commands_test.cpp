#include "gateway_fixture.h"

using namespace biz::test;

namespace {

using Gateway = GatewayFixture;

} // namespace

TEST_F(Gateway, ACommandIsAnsweredOnItsDevicesOutcomeTopic)
{
    addDevice("hall-1");
    addDevice("hall-2");
    startGateway();
    give("hall-2", "7");
    const QJsonObject outcome = outcomeOf("hall-2", "7");
    EXPECT_EQ(eventOf(outcome), "answered");
    EXPECT_EQ(outcome.value("data").toString(), "01 02");
    EXPECT_EQ(outcome.value("device").toString(), "hall-2");
    EXPECT_EQ(devices["hall-2"]->commands(), 1);
    EXPECT_EQ(devices["hall-1"]->commands(), 0);
}

TEST_F(Gateway, ResponseTopicAndCorrelationAreHonoured)
{
    addDevice("hall-1");
    startGateway();
    Extras extras;
    extras.responseTopic = "biz/hall/response/alice";
    extras.correlation = QByteArray("\x00\xFFmine", 6);
    give("hall-1", "7", {}, extras);
    ASSERT_EQ(eventOf(client->waitFor("biz/hall/response/alice", "id", "7")), "answered");
    EXPECT_EQ(client->on("biz/hall/response/alice").front().correlation, extras.correlation);
    EXPECT_TRUE(client->on(topic("hall-1", "outcome")).empty());
}

TEST_F(Gateway, NobodyMakesItWriteWhereClientsMayNot)
{
    addDevice("hall-1");
    extraKeys = {{"responseTopics", QJsonArray{"#"}}};
    startGateway();
    Extras extras;
    extras.responseTopic = topic("hall-1", "command");
    give("hall-1", "7", {}, extras);
    EXPECT_EQ(outcomeOf("hall-1", "7").value("code").toString(), "badMessage");
    EXPECT_EQ(devices["hall-1"]->commands(), 0);
}

TEST_F(Gateway, AMessagesExpiryIsItsCommandsValidity)
{
    addDevice("hall-1", FakeDevice::stayAway);
    startGateway();
    client->publish(topic("hall-1", "command"), R"({"id":"first","head":"68 12 00 00 00 00","waitMs":2000})");
    Extras extras;
    extras.expiresInS = 1;
    client->publish(topic("hall-1", "command"), R"({"id":"late","head":"68 12 00 00 00 00"})", extras);
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "late")), "expired");
}

TEST_F(Gateway, ARetainedCommandIsRefusedAndSaysSo)
{
    addDevice("hall-1");
    startGateway();
    Extras extras;
    extras.isRetained = true;
    give("hall-1", "7", {}, extras);
    const QJsonObject outcome = outcomeOf("hall-1", "7");
    EXPECT_EQ(eventOf(outcome), "error");
    EXPECT_EQ(outcome.value("code").toString(), "retained");
    client->publish(topic("hall-1", "command"), {}, extras); // takes it back
    EXPECT_EQ(eventOf(ask("hall-1", "8")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
    EXPECT_EQ(client->on(topic("hall-1", "outcome")).size(), 2U);
}

TEST_F(Gateway, ARepeatedIdIsAnsweredFromTheJournal)
{
    addDevice("hall-1");
    startGateway();
    give("hall-1", "7");
    ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 1));
    give("hall-1", "7");
    ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 2));
    const auto outcomes = client->on(topic("hall-1", "outcome"));
    EXPECT_EQ(outcomes.at(0).payload, outcomes.at(1).payload);
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(Gateway, ARepeatOfWhatIsUnderWayIsAnsweredOnceWhereItAskedLast)
{
    addDevice("hall-1", [](FakeDevice &device, const model_Protocoldata &command) { device.sendAfter(500, command); });
    startGateway();
    Extras first;
    first.responseTopic = "biz/hall/response/first";
    Extras second;
    second.responseTopic = "biz/hall/response/second";
    give("hall-1", "7", {}, first);
    give("hall-1", "7", {}, second);
    EXPECT_EQ(eventOf(client->waitFor("biz/hall/response/second", "id", "7")), "answered");
    EXPECT_TRUE(client->on("biz/hall/response/first").empty());
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(Gateway, TheSameIdWithAnotherCommandIsRefused)
{
    addDevice("hall-1");
    startGateway();
    ASSERT_EQ(eventOf(ask("hall-1", "7")), "answered");
    client->publish(topic("hall-1", "command"), R"({"id":"7","head":"68 12 00 00 00 00","data":"FF"})");
    EXPECT_EQ(client->waitFor(topic("hall-1", "outcome"), "event", "error").value("code").toString(), "otherCommand");
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(Gateway, EachClientHasIdsOfItsOwn)
{
    addDevice("hall-1");
    startGateway();
    client->publish(topic("hall-1", "command/alice"), command("7"));
    client->publish(topic("hall-1", "command/bob"), command("7"));
    ASSERT_EQ(eventOf(client->waitFor(topic("hall-1", "outcome"), "client", "alice")), "answered");
    ASSERT_EQ(eventOf(client->waitFor(topic("hall-1", "outcome"), "client", "bob")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 2);
}

TEST_F(Gateway, ACommandThatWaitsCanBeCancelled)
{
    addDevice("hall-1", FakeDevice::stayAway);
    startGateway();
    give("hall-1", "7");
    client->publish(topic("hall-1", "command"), R"({"do":"cancel","id":"7"})");
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "7")), "cancelled");
}

TEST_F(Gateway, StatesOfDevicesAreRetainedAndFollowTheirLinks)
{
    addDevice("hall-1");
    startGateway();
    MqttClient later(settingsOfClient());
    EXPECT_FALSE(later.waitFor(topic("hall-1", "state"), "state", "up").isEmpty());
    EXPECT_TRUE(later.on(topic("hall-1", "state")).front().isRetained);
    devices["hall-1"].reset();
    EXPECT_FALSE(later.waitFor(topic("hall-1", "state"), "state", "lost").isEmpty());
}

TEST_F(Gateway, ItsWillSaysThatItIsGone)
{
    addDevice("hall-1");
    startGateway();
    gateway->kill();
    EXPECT_EQ(client->waitFor("biz/hall/gateway/status", "state", "offline").value("reason").toString(),
              "the connection to the gateway was lost");
}

TEST_F(Gateway, AStopEndsCommandsAndSaysSo)
{
    addDevice("hall-1", FakeDevice::stayAway);
    startGateway();
    give("hall-1", "7");
    ASSERT_FALSE(client->waitFor(topic("hall-1", "event"), "event", "sent").isEmpty());
    gateway->send(SIGTERM);
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "7")), "stopped");
    EXPECT_EQ(client->waitFor("biz/hall/gateway/status", "state", "offline").value("reason").toString(),
              "the gateway was stopped");
    EXPECT_EQ(gateway->exitStatus(), 0);
    EXPECT_EQ(client->on("biz/hall/gateway/status").size(), 2U);
}

TEST_F(Gateway, EventsAndCountersAreTold)
{
    addDevice("hall-1");
    extraKeys = {{"countersEveryS", 1}};
    startGateway();
    give("hall-1", "7");
    EXPECT_EQ(client->waitFor(topic("hall-1", "event"), "event", "answered").value("id").toString(), "7");
    EXPECT_TRUE(waitFor([this] {
        const auto counters = client->on(topic("hall-1", "counters"));
        return !counters.empty() && counters.back().json().value("counters").toObject().value("answered") == 1;
    }));
}
