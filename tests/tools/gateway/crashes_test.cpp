#include "gateway_fixture.h"

using namespace biz::test;

namespace {

class GatewayThatIsKilled : public GatewayFixture
{
protected:
    void restartGateway()
    {
        gateway->kill();
        client->forget();
        gateway->start();
    }
};

class BrokerThatIsKilled : public GatewayFixture
{
protected:
    void restartBroker()
    {
        broker->kill();
        client->forget();
        broker->start();
        ASSERT_TRUE(client->waitUntilReady());
    }
};

} // namespace

TEST_F(GatewayThatIsKilled, LeavesAnInterruptedCommandThatIsNeverGivenAgain)
{
    addDevice("hall-1", FakeDevice::stayAway);
    startGateway();
    give("hall-1", "7");
    ASSERT_TRUE(waitFor([this] { return devices["hall-1"]->commands() == 1; }));
    restartGateway();
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "7")), "interrupted");
    waitUntilUp();
    give("hall-1", "7");
    ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 2));
    const auto outcomes = client->on(topic("hall-1", "outcome"));
    EXPECT_EQ(outcomes.at(0).payload, outcomes.at(1).payload);
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(GatewayThatIsKilled, KnowsTheOutcomesFromBefore)
{
    addDevice("hall-1");
    startGateway();
    ASSERT_EQ(eventOf(ask("hall-1", "7")), "answered");
    const QByteArray before = client->on(topic("hall-1", "outcome")).front().payload;
    restartGateway();
    waitUntilUp();
    client->forget(); // a restart may bring it once more
    give("hall-1", "7");
    ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 1));
    EXPECT_EQ(client->on(topic("hall-1", "outcome")).front().payload, before);
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(BrokerThatIsKilled, GetsTheOutcomeWhenItIsBackAndItsClientAsksAgain)
{
    addDevice("hall-1", [](FakeDevice &device, const model_Protocoldata &command) { device.sendAfter(300, command); });
    startGateway();
    give("hall-1", "7");
    ASSERT_TRUE(waitFor([this] { return devices["hall-1"]->commands() == 1; }));
    restartBroker();
    waitUntilUp();
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(BrokerThatIsKilled, IsToldOfStatesAndStatusAgain)
{
    addDevice("hall-1");
    startGateway();
    restartBroker();
    waitUntilUp();
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
}
