#include <gtest/gtest.h>

#include <QtCore/QFile>

#include <biz_gateway/config/broker_reader.h>
#include <biz_gateway/config/config_reader.h>
#include <biz_gateway/limits/client_limits.h>
#include <biz_gateway/topics/topics.h>
#include <common/errors.h>
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>

using namespace biz::gateway;
using biz::test::ScratchFolder;
using biz::test::waitFor;

namespace {

class Configuration : public ::testing::Test
{
protected:
    GatewayConfig read(const QByteArray &text) const
    {
        return readGatewayConfig({"gateway.json", text}, folder.path());
    }

    /** What is wrong with it, a line each. */
    std::string problemsOf(const QByteArray &text) const
    {
        try {
            read(text);
        } catch (const biz::tools::InputError &error) {
            return error.what();
        }
        return {};
    }

    static QByteArray withBroker(const QByteArray &broker)
    {
        return R"({"site":"hall","devices":[{"name":"a","link":"tcp://10.0.0.1"}],"broker":)" + broker + "}";
    }

    void writePassword(QFileDevice::Permissions others = {}, const QByteArray &content = "secret\n") const
    {
        QFile file(folder.path("password"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | others);
    }

    const ScratchFolder folder;
};

} // namespace

TEST_F(Configuration, SaysMoreThanItsDefaultsOnlyWhereItDiffers)
{
    const GatewayConfig config =
        read(R"({"site":"hall","devices":[{"name":"a","link":"tcp://10.0.0.1","model":"A2"}]})");
    EXPECT_EQ(config.broker.host, "localhost");
    EXPECT_EQ(config.broker.port, BrokerSettings::plainPort);
    EXPECT_EQ(config.broker.clientId, "biz-gateway-hall");
    EXPECT_EQ(config.devices.front().settings.model, "A2");
    EXPECT_EQ(config.responseTopics, QStringList{"biz/hall/response/#"});
    EXPECT_EQ(config.journal.keepHours, 24);
}

TEST_F(Configuration, TellsAllThatIsWrongWithItsLine)
{
    const std::string problems = problemsOf("{\"site\": \"ha/ll\",\n"
                                            " \"devices\": [{\"name\": \"a\", \"link\": \"tpc://10.0.0.1\",\n"
                                            "              \"model\": \"A7\", \"waitMS\": 3}],\n"
                                            " \"osd\": {\"devices\": [\"10.0.1\"]}}");
    EXPECT_NE(problems.find("gateway.json:1:10: site: "), std::string::npos) << problems;
    EXPECT_NE(problems.find("gateway.json:2:36: devices[0].link: "), std::string::npos) << problems;
    EXPECT_NE(problems.find("gateway.json:3:24: devices[0].model: "), std::string::npos) << problems;
    EXPECT_NE(problems.find("devices[0].waitMS: unknown key; did you mean \"waitMs\"?"), std::string::npos) << problems;
    EXPECT_NE(problems.find("gateway.json:4:22: osd.devices[0]: "), std::string::npos) << problems;
}

TEST_F(Configuration, NeedsADevice)
{
    EXPECT_NE(problemsOf(R"({"site":"hall"})").find("at least one device"), std::string::npos);
}

TEST_F(Configuration, HasEachNameOnce)
{
    EXPECT_NE(problemsOf(R"({"site":"hall","devices":[{"name":"a","link":"tcp://10.0.0.1"},
                                                      {"name":"a","link":"tcp://10.0.0.2"}]})")
                  .find("a \"name\" of its own"),
              std::string::npos);
}

TEST_F(Configuration, ABrokerElsewhereNeedsTlsAndCredentials)
{
    const std::string problems = problemsOf(withBroker(R"({"host":"broker.example"})"));
    EXPECT_NE(problems.find("\"tls\" expected"), std::string::npos) << problems;
    EXPECT_NE(problems.find("\"user\" and \"passwordFile\""), std::string::npos) << problems;
    writePassword();
    EXPECT_EQ(
        problemsOf(withBroker(R"({"host":"broker.example","user":"gateway","passwordFile":"password","tls":{}})")), "");
    EXPECT_NE(problemsOf(withBroker(R"({"host":"broker.example","user":"gateway","tls":{}})")).find("passwordFile"),
              std::string::npos);
    EXPECT_NE(problemsOf(withBroker(R"({"host":"broker.example","user":"gateway","passwordFile":"password"})"))
                  .find("\"tls\" expected"),
              std::string::npos);
}

TEST_F(Configuration, ABrokerOnThisMachineNeedsNeither)
{
    for (const char *host : {"localhost", "127.0.0.1", "127.1.2.3", "::1"}) {
        EXPECT_EQ(problemsOf(withBroker(QByteArray(R"({"host":")") + host + "\"}")), "") << host;
    }
    for (const char *host : {"localhost.example", "128.0.0.1", "0.0.0.0", "::2"}) {
        EXPECT_FALSE(isLoopback(host)) << host;
    }
}

TEST_F(Configuration, APasswordIsNotForEverybody)
{
    writePassword(QFileDevice::ReadOther);
    EXPECT_NE(problemsOf(withBroker(R"({"user":"gateway","passwordFile":"password"})")).find("not every user"),
              std::string::npos);
    writePassword(QFileDevice::ReadGroup);
    EXPECT_EQ(read(withBroker(R"({"user":"gateway","passwordFile":"password"})")).broker.password, "secret");
}

TEST_F(Configuration, APasswordIsTheFileWithoutTheEndOfItsLine)
{
    const QByteArray withPassword = withBroker(R"({"user":"gateway","passwordFile":"password"})");
    for (const QByteArray &password : {QByteArray(" blanks count "), QByteArray("\ttab "), QByteArray(4096, 'x')}) {
        for (const char *end : {"", "\n", "\r\n"}) {
            writePassword({}, password + end);
            EXPECT_EQ(read(withPassword).broker.password, password);
        }
    }
}

TEST_F(Configuration, APasswordThatIsTooLongOrOfSeveralLinesIsRefused)
{
    const QByteArray withPassword = withBroker(R"({"user":"gateway","passwordFile":"password"})");
    for (const QByteArray &content : {QByteArray(4097, 'x'), QByteArray(4097, 'x') + '\n', QByteArray("a\n\n"),
                                      QByteArray("a\nb"), QByteArray(), QByteArray("\n")}) {
        writePassword({}, content);
        EXPECT_NE(problemsOf(withPassword).find("the password of at most 4096 bytes"), std::string::npos);
    }
}

TEST_F(Configuration, AProgramOfTheSitesOwnGetsItsArgumentsOnly)
{
    const GatewayConfig config =
        read(R"({"site":"hall","devices":[{"name":"a","program":"/opt/worker","arguments":["x"]}]})");
    EXPECT_EQ(config.devices.front().settings.program, "/opt/worker");
    EXPECT_EQ(config.devices.front().settings.arguments, QStringList{"x"});
    EXPECT_NE(problemsOf(R"({"site":"hall","devices":[{"name":"a","program":"/opt/worker","model":"A2"}]})")
                  .find("devices[0].model: no such key"),
              std::string::npos);
}

TEST_F(Configuration, APipelinedDeviceHasNoSettleTime)
{
    const auto problems = [this](const QByteArray &device) {
        return problemsOf(R"({"site":"hall","devices":[{"name":"a","link":"tcp://10.0.0.1",)" + device + "}]}");
    };
    EXPECT_NE(problems(R"("pipelined":true,"settleMs":20)").find("not expected beside \"pipelined\""),
              std::string::npos);
    EXPECT_EQ(problems(R"("pipelined":false,"settleMs":20)"), "");
    EXPECT_EQ(problems(R"("pipelined":true,"settleMs":0)"), "");
}

TEST(TopicFilter, HasItsWildcardsOnLevelsOfTheirOwn)
{
    EXPECT_TRUE(isTopicFilter("clients/+/replies/#"));
    EXPECT_TRUE(isTopicFilter("#"));
    EXPECT_FALSE(isTopicFilter(""));
    EXPECT_FALSE(isTopicFilter("clients/#/replies"));
    EXPECT_FALSE(isTopicFilter("clients/a+"));
}

TEST(CommandTopics, NameADeviceAndPerhapsAClient)
{
    const Topics topics("hall");
    EXPECT_EQ(topics.readCommandTopic("biz/hall/device/a/command")->address, (Address{Channel::Device, "a"}));
    EXPECT_EQ(topics.readCommandTopic("biz/hall/osd/10.0.0.1/command/bob")->address,
              (Address{Channel::Osd, "10.0.0.1"}));
    EXPECT_EQ(topics.readCommandTopic("biz/hall/osd/10.0.0.1/command/bob")->client, "bob");
    for (const char *other :
         {"biz/yard/device/a/command", "biz/hall/device/a/outcome", "biz/hall/device/a/event",
          "biz/hall/device/a/command/b/c", "biz/hall/gateway/a/command", "biz/hallo/device/a/command"}) {
        EXPECT_FALSE(topics.readCommandTopic(other)) << other;
    }
}

TEST(CommandTopics, OfOtherSitesAreToldFromOtherTopicsToo)
{
    for (const char *ofCommands : {"biz/hall/device/a/command", "biz/yard/device/a/command/bob",
                                   "biz/yard/osd/10.0.0.1/command", "biz/yard/osd/10.0.0.1/command/b/c"}) {
        EXPECT_TRUE(isForCommands(ofCommands)) << ofCommands;
    }
    for (const char *other : {"biz/yard/response/alice", "biz/yard/device/a/outcome", "clients/alice/command"}) {
        EXPECT_FALSE(isForCommands(other)) << other;
    }
}

TEST(AllowanceOfAClient, IsItsOwn)
{
    ClientAllowance allowance;
    allowance.perSecond = 1;
    allowance.burst = 2;
    ClientLimits limits(allowance);
    EXPECT_EQ(limits.refusal("alice", 1), "");
    EXPECT_EQ(limits.refusal("alice", 1), "");
    EXPECT_NE(limits.refusal("alice", 1), "");
    EXPECT_EQ(limits.refusal("bob", 1), "");
}

TEST(AllowanceOfAClient, FillsUpAgain)
{
    ClientAllowance allowance;
    allowance.perSecond = 10;
    allowance.burst = 1;
    ClientLimits limits(allowance);
    const auto isRefused = [&] {
        return !limits.refusal("alice", 1).isEmpty();
    };
    ASSERT_TRUE(waitFor(isRefused));
    EXPECT_TRUE(waitFor([&] { return !isRefused(); }));
}

TEST(AllowanceOfAClient, BoundsPayloadsOnBothSidesOfTheLimit)
{
    ClientAllowance allowance;
    allowance.payloadBytes = 1000;
    ClientLimits limits(allowance);
    EXPECT_EQ(limits.refusal("alice", 1000), "");
    EXPECT_TRUE(limits.refusal("alice", 1001).contains("1000 bytes"));
}

TEST(AllowanceOfAClient, BoundsWhatIsPendingUntilItEnds)
{
    ClientAllowance allowance;
    allowance.pending = 2;
    ClientLimits limits(allowance);
    EXPECT_EQ(limits.refusalOfPending("alice", 1), "");
    EXPECT_NE(limits.refusalOfPending("alice", 2), "");
    limits.noteGiven("alice");
    limits.noteGiven("alice");
    EXPECT_NE(limits.refusalOfPending("alice", 0), "");
    EXPECT_EQ(limits.refusalOfPending("bob", 0), "");
    limits.noteEnded("alice");
    EXPECT_EQ(limits.refusalOfPending("alice", 0), "");
}
