#include <csignal>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

class ConsoleSend : public ConsoleOsd
{
protected:
    QStringList sendArguments(const QString &url, const QString &head = "F1 05 00 00 00 00") const
    {
        return {"send", "--device", url, "--log-dir", file("logs"), head};
    }
};

TEST_F(ConsoleSend, AnAnswerIsShownWithItsReplyAndItsHistory)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        model_Protocoldata reply = command;
        reply.baData = QByteArray("\x01\xFE");
        self.send(reply);
    });
    RunningConsole console(sendArguments(device.url(), "01 08 03 62 01 00"));
    EXPECT_EQ(console.exitStatus(), 0);
    const QRegularExpression report(
        "^answered: its reply came [0-9.]+ ms after it was sent\nreply\n  head  [0-9A-F]{2} 01 08 03 62 01 00\n"
        "  data  01 FE\nhistory\n +0\\.[0-9] ms  queued .*\n +[0-9.]+ ms  sent with sequence byte [0-9]+\n"
        "( +[0-9.]+ ms  .*\n)* +[0-9.]+ ms  answered: .*\n$");
    EXPECT_TRUE(report.match(console.output()).hasMatch()) << qPrintable(console.output());
    EXPECT_EQ(device.commands(), 1);
}

TEST_F(ConsoleSend, TheCommandCarriesHeadAndPayload)
{
    QByteArray head;
    QByteArray data;
    FakeDevice device([&](FakeDevice &self, const model_Protocoldata &command) {
        head = QByteArray(reinterpret_cast<const char *>(command.ucHead) + 1, 6);
        data = command.baData;
        self.send(command);
    });
    RunningConsole console(sendArguments(device.url(), "010203040506") + QStringList{"--data", "0a 0B"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_EQ(head.toHex(), "010203040506");
    EXPECT_EQ(data.toHex(), "0a0b");
}

TEST_F(ConsoleSend, ALongPayloadIsCutAndSaysSo)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        model_Protocoldata reply = command;
        reply.baData = QByteArray(130, '\x11');
        self.send(reply);
    });
    RunningConsole console(sendArguments(device.url()));
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(console.output().count("11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11\n"), 8);
    EXPECT_TRUE(console.output().contains("\n        and 2 bytes more; --json shows all\n"));
}

TEST_F(ConsoleSend, TheModelsRulesJudgeTheReplyAndTheErrorLogIsNamed)
{
    FakeDevice device(FakeDevice::answerShort);
    RunningConsole console(sendArguments(device.url()) + QStringList{"--model", "a2", "--wait", "100"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith("gaveUp: no acceptable reply came, nor after the resend; the last reply "
                                            "was refused: payload holds 128 bytes, needs 129\nhistory\n"))
        << qPrintable(console.output());
    ASSERT_EQ(errorLogs().size(), 1);
    EXPECT_TRUE(console.output().endsWith("error log  " + file("logs/Errorlog/" + errorLogs().first()) + "\n"));
}

TEST_F(ConsoleSend, WithoutAModelEveryReplyIsAccepted)
{
    FakeDevice device(FakeDevice::answerShort);
    RunningConsole console(sendArguments(device.url()));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
}

TEST_F(ConsoleSend, ASilentDeviceIsGivenUpAfterOneResend)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(sendArguments(device.url()) + QStringList{"--wait", "100"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith("gaveUp: ")) << qPrintable(console.output());
    EXPECT_EQ(device.commands(), 2);
}

TEST_F(ConsoleSend, ADeviceThatCannotBeReachedIsStatusThree)
{
    RunningConsole console(sendArguments("tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_TRUE(console.errors().startsWith("biz_console: cannot reach tcp://127.0.0.1:1: "));
    EXPECT_TRUE(console.output().startsWith("unreachable: the link is down: cannot reach tcp://127.0.0.1:1: "))
        << qPrintable(console.output());
}

TEST_F(ConsoleSend, AnInterruptEndsItAtOnce)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(sendArguments(device.url()) + QStringList{"--wait", "3600000", "--json"});
    ASSERT_TRUE(console.waitForOutput(R"("event":"sent")"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains(R"("event":"stopped")")) << qPrintable(console.output());
}

TEST_F(ConsoleSend, JsonHoldsTheWholeReplyAndTheHistory)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        model_Protocoldata reply = command;
        reply.baData = QByteArray(130, '\x11');
        self.send(reply);
    });
    RunningConsole console(sendArguments(device.url()) + QStringList{"--json"});
    EXPECT_EQ(console.exitStatus(), 0);
    const QString answer = console.outputLines().filter(R"("event":"answered")").value(0);
    const QJsonObject answered = QJsonDocument::fromJson(answer.toUtf8()).object();
    EXPECT_EQ(answered.value("data").toString().size(), 130 * 3 - 1);
    EXPECT_GE(answered.value("history").toArray().size(), 3);
}

TEST_F(ConsoleSend, AnOsdDeviceIsGivenTheTextAndAnswers)
{
    RunningConsole console({"send", "--osd", "127.3.0.1", "--port", QString::number(port), "--text", "hello", "--flag",
                            "7", "0D 01 00 00 00 00 00 00 00 00 00", "--json"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    const QString sent = console.outputLines().filter(R"("event":"sent")").value(0);
    const QJsonObject object = QJsonDocument::fromJson(sent.toUtf8()).object();
    EXPECT_EQ(object.value("device").toString(), "127.3.0.1");
    EXPECT_EQ(object.value("text").toString(), "hello");
    EXPECT_EQ(object.value("flag").toInt(), 7);
}

TEST_F(ConsoleSend, ASilentOsdDeviceIsGivenUp)
{
    RunningConsole console({"send", "--osd", "127.3.0.2", "--port", QString::number(port), "--wait", "1000",
                            "0D 01 00 00 00 00 00 00 00 00 00"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith("gaveUp: no reply came within its wait\nhistory\n"))
        << qPrintable(console.output());
}

} // namespace
