#ifndef BIZ_TEST_GATEWAY_FIXTURE_H
#define BIZ_TEST_GATEWAY_FIXTURE_H

#include <map>
#include <memory>

#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

#include <support/scratch_folder.h>
#include <tools/support/fake_device.h>

#include "mqtt_client.h"
#include "requirements.h"
#include "running_broker.h"
#include "running_gateway.h"

namespace biz::test {

/** A broker, a gateway with devices that the test plays, and a client. */
class GatewayFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const char *const missing = missingForGateway()) {
            GTEST_SKIP() << missing;
        }
        broker = std::make_unique<RunningBroker>(folder.path());
        client = std::make_unique<MqttClient>(settingsOfClient());
        ASSERT_TRUE(client->waitUntilReady());
    }

    ClientSettings settingsOfClient() const
    {
        ClientSettings settings;
        settings.port = broker->port();
        return settings;
    }

    QJsonObject config() const
    {
        QJsonArray list;
        for (const auto &entry : devices) {
            QJsonObject keys = deviceKeys;
            keys.insert("name", entry.first);
            keys.insert("link", entry.second->url());
            list.append(keys);
        }
        QJsonObject all{{"site", "hall"}, {"broker", QJsonObject{{"port", broker->port()}}}, {"devices", list}};
        for (auto more = extraKeys.begin(); more != extraKeys.end(); ++more) {
            all.insert(more.key(), more.value());
        }
        return all;
    }

    void addDevice(const QString &name, const FakeDevice::Behaviour &behaviour = FakeDevice::echo)
    {
        devices[name] = std::make_unique<FakeDevice>(behaviour);
    }

    /** Starts the gateway, and waits until its devices can be given commands. */
    void startGateway()
    {
        gateway = std::make_unique<RunningGateway>(config(), folder.path("gateway"));
        waitUntilUp();
    }

    void waitUntilUp()
    {
        ASSERT_EQ(client->waitFor("biz/hall/gateway/status", "state", "online").value("state").toString(), "online")
            << gateway->output().toStdString();
        for (const auto &entry : devices) {
            ASSERT_FALSE(client->waitFor("biz/hall/device/" + entry.first + "/state", "state", "up").isEmpty())
                << entry.first.toStdString();
        }
    }

    static QString topic(const QString &device, const QString &what)
    {
        return "biz/hall/device/" + device + '/' + what;
    }

    /** A command that a device of any model answers by an echo. */
    static QByteArray command(const QByteArray &id, const QByteArray &more = {})
    {
        return R"({"id":")" + id + R"(","head":"68 12 00 00 00 00","data":"01 02","waitMs":15000)" + more + '}';
    }

    void give(const QString &device, const QByteArray &id, const QByteArray &more = {}, const Extras &extras = {})
    {
        client->publish(topic(device, "command"), command(id, more), extras);
    }

    QJsonObject outcomeOf(const QString &device, const QString &id)
    {
        return client->waitFor(topic(device, "outcome"), "id", id);
    }

    /** Gives a command, and waits for its outcome. */
    QJsonObject ask(const QString &device, const QByteArray &id)
    {
        give(device, id);
        return outcomeOf(device, id);
    }

    static QString eventOf(const QJsonObject &outcome) { return outcome.value("event").toString(); }

    const ScratchFolder folder;
    std::unique_ptr<RunningBroker> broker;
    std::unique_ptr<MqttClient> client;
    std::map<QString, std::unique_ptr<FakeDevice>> devices;
    QJsonObject deviceKeys; ///< of each device's settings
    QJsonObject extraKeys;  ///< of the gateway's
    std::unique_ptr<RunningGateway> gateway;
};

} // namespace biz::test

#endif
