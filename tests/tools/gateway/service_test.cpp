#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "gateway_fixture.h"

using namespace biz::test;

namespace {

/** The side of the service manager. */
class Manager
{
public:
    explicit Manager(const QString &path)
        : m_descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = path.toUtf8();
        std::copy(name.begin(), name.end(), address.sun_path);
        EXPECT_EQ(bind(m_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        qputenv("NOTIFY_SOCKET", name);
    }
    ~Manager()
    {
        qunsetenv("NOTIFY_SOCKET");
        qunsetenv("WATCHDOG_USEC");
        close(m_descriptor);
    }
    Manager(const Manager &) = delete;
    Manager &operator=(const Manager &) = delete;

    /** Waits until it was told this so often. */
    bool waitFor(const QByteArray &line, int times = 1)
    {
        return biz::test::waitFor([&] {
            std::array<char, 4096> bytes{};
            for (ssize_t size = 0; (size = recv(m_descriptor, bytes.data(), bytes.size(), 0)) > 0;) {
                m_told += QByteArray(bytes.data(), static_cast<int>(size)) + '\n';
            }
            return m_told.count(line) >= times;
        });
    }

private:
    const int m_descriptor;
    QByteArray m_told;
};

class GatewayAsAService : public GatewayFixture
{
protected:
    void reload()
    {
        gateway->write(config());
        gateway->send(SIGHUP);
    }
};

} // namespace

TEST(GatewayHelp, ThatCannotBeWrittenIsOneLineAndStatusOne)
{
    for (const char *option : {"--help", "--version"}) {
        QProcess gateway;
        gateway.setStandardOutputFile("/dev/full");
        gateway.start(QStringLiteral(BIZ_GATEWAY), {option});
        ASSERT_TRUE(gateway.waitForFinished());
        EXPECT_EQ(gateway.exitCode(), 1);
        EXPECT_EQ(gateway.readAllStandardError(), "biz_gateway: the output cannot be written\n");
    }
}

TEST_F(GatewayAsAService, TellsItsManagerHowItStands)
{
    addDevice("hall-1");
    Manager manager(folder.path("notify"));
    qputenv("WATCHDOG_USEC", "100000");
    startGateway();
    EXPECT_TRUE(manager.waitFor("READY=1"));
    EXPECT_TRUE(manager.waitFor("STATUS=connected to the broker"));
    EXPECT_TRUE(manager.waitFor("WATCHDOG=1", 3));
    gateway->send(SIGHUP);
    EXPECT_TRUE(manager.waitFor("RELOADING=1"));
    EXPECT_TRUE(manager.waitFor("READY=1", 2));
    gateway->send(SIGTERM);
    EXPECT_TRUE(manager.waitFor("STOPPING=1"));
    EXPECT_EQ(gateway->exitStatus(), 0);
}

TEST_F(GatewayAsAService, IsReadyWithoutABroker)
{
    addDevice("hall-1");
    broker->kill();
    Manager manager(folder.path("notify"));
    gateway = std::make_unique<RunningGateway>(config(), folder.path("gateway"));
    EXPECT_TRUE(manager.waitFor("READY=1"));
    EXPECT_TRUE(manager.waitFor("STATUS=not connected to the broker: Connection refused"));
}

TEST_F(GatewayAsAService, AReloadAddsAndRemovesDevicesAndTouchesNoOther)
{
    addDevice("stays", [](FakeDevice &device, const model_Protocoldata &command) { device.sendAfter(1000, command); });
    addDevice("goes");
    startGateway();
    give("stays", "7");
    ASSERT_TRUE(waitFor([this] { return devices["stays"]->commands() == 1; }));
    client->forget();
    devices.erase("goes");
    addDevice("comes");
    reload();
    ASSERT_FALSE(client->waitFor(topic("comes", "state"), "state", "up").isEmpty());
    EXPECT_EQ(eventOf(ask("comes", "8")), "answered");
    give("goes", "9");
    EXPECT_EQ(outcomeOf("goes", "9").value("code").toString(), "unknownDevice");
    EXPECT_EQ(eventOf(outcomeOf("stays", "7")), "answered");
    EXPECT_TRUE(client->on(topic("stays", "state")).empty());
    // Its state is taken back.
    ASSERT_TRUE(client->waitForCount(topic("goes", "state"), 1));
    EXPECT_TRUE(client->on(topic("goes", "state")).back().payload.isEmpty());
}

TEST_F(GatewayAsAService, AReloadOfABadConfigurationChangesNothing)
{
    addDevice("hall-1");
    startGateway();
    gateway->write({{"site", "hall"}, {"devices", 3}});
    gateway->send(SIGHUP);
    EXPECT_TRUE(gateway->waitForOutput("gateway.json:2:16: devices: an array of devices expected, not 3"))
        << gateway->output().toStdString();
    EXPECT_TRUE(gateway->waitForOutput("the configuration stays as it was"));
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
}

TEST_F(GatewayAsAService, ASecondOneOfTheSameStateSaysSoAndEnds)
{
    addDevice("hall-1");
    startGateway();
    RunningGateway second(config(), folder.path("gateway"));
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_TRUE(second.output().contains("another gateway works with")) << second.output().toStdString();
}
