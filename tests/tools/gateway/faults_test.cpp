#include <QtCore/QTextStream>

#include "certificates.h"
#include "gateway_fixture.h"

using namespace biz::test;

namespace {

class GatewayInTrouble : public GatewayFixture
{
protected:
    /** Starts a gateway that does not get to its broker. */
    void startGatewayAlone() { gateway = std::make_unique<RunningGateway>(config(), folder.path("gateway")); }

    /** A broker in place of the fixture's, which lets in who has a password. */
    void startBrokerWith(const QByteArray &settings, const QStringList &users)
    {
        const QString passwords = folder.path("passwords");
        writeFile("passwords", {});
        for (const QString &user : users) {
            QProcess::execute("mosquitto_passwd", {"-b", passwords, user, "pw-" + user});
        }
        QFile::setPermissions(passwords, QFileDevice::ReadOwner | QFileDevice::ReadOther);
        QFile::setPermissions(folder.path(), QFileDevice::Permissions(0x7755));
        client.reset();
        broker.reset();
        broker = std::make_unique<RunningBroker>(folder.path(), settings + "allow_anonymous false\npassword_file " +
                                                                    passwords.toUtf8() + '\n');
    }

    std::unique_ptr<MqttClient> clientOf(const QString &user, const QString &authority = {}) const
    {
        ClientSettings settings = settingsOfClient();
        settings.user = user;
        settings.password = "pw-" + user;
        settings.authorities = authority;
        auto made = std::make_unique<MqttClient>(settings);
        EXPECT_TRUE(made->waitUntilReady()) << user.toStdString();
        return made;
    }

    /** The gateway's part of its configuration, with the password of `gateway` unless it is another one. */
    void useCredentials(const QString &password = "pw-gateway", QJsonObject more = {})
    {
        writeFile("gateway/password", password.toUtf8());
        QFile::setPermissions(folder.path("gateway/password"), QFileDevice::ReadOwner);
        more.insert("port", broker->port());
        more.insert("user", "gateway");
        more.insert("passwordFile", "password");
        extraKeys.insert("broker", more);
    }

    /** The gateway is to connect by TLS, and trusts this authority. */
    void useTls(const QString &authority)
    {
        addDevice("hall-1");
        extraKeys.insert("broker", QJsonObject{{"host", "127.0.0.1"},
                                               {"port", broker->port()},
                                               {"tls", QJsonObject{{"authorities", authority}}}});
    }

    void writeFile(const QString &name, const QByteArray &text) const
    {
        QDir().mkpath(folder.path("gateway"));
        QFile file(folder.path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    /** From now on the gateway that is started meets the faults that are written. */
    void startGatewayWithFaults()
    {
        qputenv("LD_PRELOAD", BIZ_FAULTY_SYSTEM);
        // A build with the address sanitizer refuses to have anything loaded before it otherwise.
        qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":verify_asan_link_order=0");
        qputenv("BIZ_FAULTS", folder.path().toUtf8());
        startGatewayAlone();
        qunsetenv("LD_PRELOAD");
        waitUntilUp();
    }

    QString codeOf(const QString &device, const QString &id) { return outcomeOf(device, id).value("code").toString(); }
};

} // namespace

// --- The broker -------------------------------------------------------------------------------

TEST_F(GatewayInTrouble, WaitsForABrokerThatIsNotThereYet)
{
    addDevice("hall-1");
    broker->kill();
    startGatewayAlone();
    EXPECT_TRUE(gateway->waitForOutput("not connected to the broker: Connection refused"))
        << gateway->output().toStdString();
    broker->start();
    ASSERT_TRUE(client->waitUntilReady());
    waitUntilUp();
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
}

TEST_F(GatewayInTrouble, SaysThatItsPasswordIsWrong)
{
    addDevice("hall-1");
    startBrokerWith({}, {"gateway"});
    useCredentials("another one");
    startGatewayAlone();
    EXPECT_TRUE(gateway->waitForOutput("the broker refuses the gateway: ")) << gateway->output().toStdString();
    EXPECT_FALSE(gateway->isOver());
}

TEST_F(GatewayInTrouble, WorksOverTlsWithCredentials)
{
    const Certificates certificates(folder.path(), 30);
    if (!certificates.areMade()) {
        GTEST_SKIP() << "the package openssl is not installed";
    }
    addDevice("hall-1");
    startBrokerWith(certificates.settings(), {"gateway", "alice"});
    useCredentials("pw-gateway",
                   {{"host", "localhost"}, {"tls", QJsonObject{{"authorities", certificates.authority()}}}});
    client = clientOf("alice", certificates.authority());
    startGateway();
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
}

TEST_F(GatewayInTrouble, SaysThatTheBrokersCertificateIsOutOfDate)
{
    const Certificates certificates(folder.path(), -1);
    if (!certificates.areMade()) {
        GTEST_SKIP() << "the package openssl is not installed";
    }
    addDevice("hall-1");
    startBrokerWith(certificates.settings(), {"gateway"});
    useCredentials("pw-gateway",
                   {{"host", "localhost"}, {"tls", QJsonObject{{"authorities", certificates.authority()}}}});
    startGatewayAlone();
    EXPECT_TRUE(gateway->waitForOutput("certificate has expired")) << gateway->output().toStdString();
    EXPECT_FALSE(gateway->isOver());
}

TEST_F(GatewayInTrouble, SaysAtOnceThatABrokerWithTlsIsNotThere)
{
    const Certificates certificates(folder.path(), 30);
    if (!certificates.areMade()) {
        GTEST_SKIP() << "the package openssl is not installed";
    }
    useTls(certificates.authority());
    broker->kill();
    startGatewayAlone();
    EXPECT_TRUE(gateway->waitForOutput("not connected to the broker: Connection refused"))
        << gateway->output().toStdString();
}

TEST_F(GatewayInTrouble, ConnectsToNobodyWithoutTheTlsThatItIsToUse)
{
    const Certificates certificates(folder.path(), 30);
    if (!certificates.areMade()) {
        GTEST_SKIP() << "the package openssl is not installed";
    }
    useTls(certificates.authority());
    broker->kill();
    startGatewayAlone();
    ASSERT_TRUE(gateway->waitForOutput("not connected to the broker")) << gateway->output().toStdString();
    ASSERT_TRUE(QFile::remove(certificates.authority()));
    broker->start(); // it speaks no TLS
    EXPECT_TRUE(gateway->waitForOutput("the files of \"tls\" cannot be used")) << gateway->output().toStdString();
    EXPECT_FALSE(gateway->output().contains("biz_gateway: connected to the broker"));
}

TEST_F(GatewayInTrouble, BelievesTheSystemsAuthoritiesUnlessItIsToldOthers)
{
    const Certificates certificates(folder.path(), 30);
    if (!certificates.areMade()) {
        GTEST_SKIP() << "the package openssl is not installed";
    }
    addDevice("hall-1");
    startBrokerWith(certificates.settings(), {"gateway", "alice"});
    useCredentials("pw-gateway", {{"host", "localhost"}, {"tls", QJsonObject()}});
    startGatewayAlone();
    EXPECT_TRUE(gateway->waitForOutput("the broker's certificate is not accepted")) << gateway->output().toStdString();
    gateway.reset();
    client = clientOf("alice", certificates.authority());
    qputenv("SSL_CERT_FILE", certificates.authority().toUtf8()); // the system's, to OpenSSL
    startGateway();
    qunsetenv("SSL_CERT_FILE");
}

TEST_F(GatewayInTrouble, ObeysTheSampleRulesOfTheBroker)
{
    addDevice("hall-1");
    QFile rules(BIZ_EXAMPLES "/gateway/acl");
    ASSERT_TRUE(rules.open(QIODevice::ReadOnly));
    writeFile("acl", rules.readAll());
    startBrokerWith("acl_file " + folder.path("acl").toUtf8() + '\n', {"gateway", "alice", "bob"});
    useCredentials();
    client = clientOf("bob");
    const auto alice = clientOf("alice");
    startGateway();

    constexpr int notAuthorized = 0x87;
    client->publish(topic("hall-1", "command/bob"), command("1"));
    ASSERT_TRUE(waitFor([this] { return client->lastAnswer() >= 0; }));
    EXPECT_EQ(client->lastAnswer(), notAuthorized);
    alice->publish(topic("hall-1", "command/bob"), command("2"));
    ASSERT_TRUE(waitFor([&alice] { return alice->lastAnswer() >= 0; }));
    EXPECT_EQ(alice->lastAnswer(), notAuthorized);

    alice->publish(topic("hall-1", "command/alice"), command("3"));
    EXPECT_EQ(eventOf(alice->waitFor(topic("hall-1", "outcome"), "id", "3")), "answered");
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "3")), "answered"); // bob looks
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

// --- Clients ----------------------------------------------------------------------------------

TEST_F(GatewayInTrouble, RefusesWhatItCannotReadAndGoesOn)
{
    addDevice("hall-1");
    startGateway();
    Extras extras;
    for (const QByteArray &payload :
         {QByteArray("{"), QByteArray("[]"), QByteArray("\xFF\xFE"), QByteArray(), QByteArray(R"({"head":"00"})"),
          QByteArray(R"({"do":"stop"})"), QByteArray(10'000'000, '7')}) {
        extras.correlation = QByteArray::number(payload.size());
        client->forget();
        client->publish(topic("hall-1", "command"), payload, extras);
        ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 1)) << payload.left(40).toStdString();
        const Got got = client->on(topic("hall-1", "outcome")).front();
        EXPECT_EQ(eventOf(got.json()), "error");
        EXPECT_EQ(got.correlation, extras.correlation);
        EXPECT_FALSE(got.json().value("reason").toString().isEmpty());
    }
    EXPECT_EQ(eventOf(ask("hall-1", "7")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 1);
}

TEST_F(GatewayInTrouble, KnowsNoOtherDevices)
{
    addDevice("hall-1");
    startGateway();
    give("hall-9", "7");
    EXPECT_EQ(codeOf("hall-9", "7"), "unknownDevice");
    client->publish("biz/hall/osd/10.0.0.1/command", R"({"id":"8","head":"0D 01 00 00 00 00 00 00 00 00 00"})");
    EXPECT_EQ(client->waitFor("biz/hall/osd/10.0.0.1/outcome", "id", "8").value("code").toString(), "unknownDevice");
}

TEST_F(GatewayInTrouble, BoundsAClientAndNoOther)
{
    addDevice("hall-1");
    extraKeys = {{"client", QJsonObject{{"perSecond", 1}, {"burst", 2}}}};
    startGateway();
    for (const char *id : {"1", "2", "3"}) {
        client->publish(topic("hall-1", "command/alice"), command(id));
    }
    // What is beyond the bound is not even read.
    EXPECT_EQ(client->waitFor(topic("hall-1", "outcome"), "event", "error").value("code").toString(), "overAllowance");
    client->publish(topic("hall-1", "command/bob"), command("4"));
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "4")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 3);
}

// --- The machine ------------------------------------------------------------------------------

TEST_F(GatewayInTrouble, RefusesCommandsWhileTheDiskIsFullAndLosesNone)
{
    addDevice("hall-1", [](FakeDevice &device, const model_Protocoldata &command) { device.sendAfter(300, command); });
    startGatewayWithFaults();
    give("hall-1", "before");
    ASSERT_TRUE(waitFor([this] { return devices["hall-1"]->commands() == 1; }));
    writeFile("disk_full", {});
    give("hall-1", "meanwhile");
    EXPECT_EQ(codeOf("hall-1", "meanwhile"), "noRoom");
    EXPECT_TRUE(gateway->waitForOutput("outcomes wait: "));
    QFile::remove(folder.path("disk_full"));
    EXPECT_EQ(eventOf(outcomeOf("hall-1", "before")), "answered");
    client->forget();
    EXPECT_EQ(eventOf(ask("hall-1", "meanwhile")), "answered");
    EXPECT_EQ(devices["hall-1"]->commands(), 2);
}

TEST_F(GatewayInTrouble, TakesNoNoticeOfAClockThatIsSet)
{
    addDevice("hall-1");
    startGatewayWithFaults();
    ASSERT_EQ(eventOf(ask("hall-1", "7")), "answered");
    const QByteArray outcome = client->on(topic("hall-1", "outcome")).front().payload;
    constexpr int days = 24 * 60 * 60;
    for (const int ahead : {-2 * days, 30 * days}) {
        writeFile("clock", QByteArray::number(ahead));
        client->forget();
        give("hall-1", "7");
        ASSERT_TRUE(client->waitForCount(topic("hall-1", "outcome"), 1));
        EXPECT_EQ(client->on(topic("hall-1", "outcome")).front().payload, outcome);
        give("hall-1", "at" + QByteArray::number(ahead), R"(,"validForMs":5000)");
        EXPECT_EQ(eventOf(outcomeOf("hall-1", "at" + QByteArray::number(ahead))), "answered");
    }
    EXPECT_EQ(devices["hall-1"]->commands(), 3);
}

TEST_F(GatewayInTrouble, EndsWhenAYoungerOneTakesItsPlace)
{
    addDevice("hall-1");
    deviceKeys = {{"whileDown", "hold"}};
    startGateway();
    for (const char *clientId : {"biz-gateway-hall", "of its own"}) {
        QJsonObject keys = config();
        keys.insert("broker", QJsonObject{{"port", broker->port()}, {"clientId", clientId}});
        client->forget();
        auto younger = std::make_unique<RunningGateway>(keys, folder.path(QString("of ") + clientId));
        EXPECT_EQ(gateway->exitStatus(), 3);
        EXPECT_TRUE(gateway->output().contains("another client has taken the client id"))
            << gateway->output().toStdString();
        gateway = std::move(younger);
        waitUntilUp();
        MqttClient later(settingsOfClient());
        EXPECT_FALSE(later.waitFor("biz/hall/gateway/status", "state", "online").isEmpty());
        give("hall-1", clientId);
        EXPECT_EQ(eventOf(outcomeOf("hall-1", clientId)), "answered");
    }
}

TEST_F(GatewayInTrouble, RefusesABrokerElsewhereWithoutTls)
{
    addDevice("hall-1");
    extraKeys = {{"broker", QJsonObject{{"host", "192.0.2.1"}}}};
    startGatewayAlone();
    EXPECT_EQ(gateway->exitStatus(), 2);
    EXPECT_TRUE(gateway->output().contains("\"tls\" expected beside it")) << gateway->output().toStdString();
}
