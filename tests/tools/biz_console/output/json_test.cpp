#include <csignal>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

/** The objects that the console wrote, one for each line; a line that is none fails the test. */
QVector<QJsonObject> objectsOf(const RunningConsole &console)
{
    QVector<QJsonObject> objects;
    for (const QString &line : console.output().split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
        EXPECT_TRUE(document.isObject()) << qPrintable(line) << "\n" << qPrintable(error.errorString());
        objects.append(document.object());
    }
    return objects;
}

QStringList eventsOf(const QVector<QJsonObject> &objects)
{
    QStringList events;
    for (const QJsonObject &object : objects) {
        events.append(object.value("event").toString());
    }
    return events;
}

QJsonObject firstOf(const QVector<QJsonObject> &objects, const QString &event)
{
    for (const QJsonObject &object : objects) {
        if (object.value("event") == event) {
            return object;
        }
    }
    ADD_FAILURE() << "no event " << qPrintable(event);
    return {};
}

class ConsoleJson : public ConsoleOsd
{
protected:
    QVector<QJsonObject> run(const QByteArray &commands, const FakeDevice &device, const QStringList &options = {},
                             int status = 0)
    {
        RunningConsole console(runArguments(session(commands, "5120"), device.url()) + QStringList{"--json"} + options);
        EXPECT_EQ(console.exitStatus(), status) << qPrintable(console.output());
        return objectsOf(console);
    }
};

TEST_F(ConsoleJson, EachEventAndTheSummaryIsAnObjectOnALineOfItsOwn)
{
    FakeDevice device(FakeDevice::echo);
    EXPECT_EQ(eventsOf(run(R"({"head": "01 08 00 00 00 00"})", device)),
              QStringList({"start", "given", "linkStateChanged", "linkStateChanged", "opened", "writing", "sent",
                           "answered", "summary"}));
}

TEST_F(ConsoleJson, TheStartNamesTheLinkAndTheModel)
{
    FakeDevice device(FakeDevice::echo);
    const QJsonObject start = run(R"({"head": "01 08 00 00 00 00"})", device).first();
    EXPECT_EQ(start.value("link").toString(), device.url());
    EXPECT_EQ(start.value("channel").toString(), "device");
    EXPECT_EQ(start.value("deviceType").toInt(), 5120);
}

TEST_F(ConsoleJson, AnAnswerHasItsReplyItsRoundTripAndItsHistory)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        model_Protocoldata reply = command;
        reply.baData = QByteArray("\x01\xFE");
        self.send(reply);
    });
    const QJsonObject answered =
        firstOf(run(R"({"name": "ask", "head": "01 08 03 62 01 00", "repeat": 2})", device), "answered");
    const QString sequence = QString("%1").arg(answered.value("sequence").toInt(-1), 2, 16, QLatin1Char('0')).toUpper();
    EXPECT_EQ(answered.value("ticket").toInt(), 1);
    EXPECT_EQ(answered.value("name").toString(), "ask");
    EXPECT_EQ(answered.value("which").toString(), "1 of 2");
    EXPECT_EQ(answered.value("command").toString(), "01/08");
    EXPECT_EQ(answered.value("head").toString(), sequence + " 01 08 03 62 01 00");
    EXPECT_EQ(answered.value("data").toString(), "01 FE");
    EXPECT_GT(answered.value("roundTripMs").toDouble(), 0.0);
    EXPECT_GE(answered.value("history").toArray().size(), 3);
}

TEST_F(ConsoleJson, TimesAreInUtcWithMillisecondsAndCountFromTheStart)
{
    FakeDevice device(FakeDevice::echo);
    double last = 0.0;
    for (const QJsonObject &object : run(getVolumeTimes(2), device, {}, 1)) {
        const QString utc = object.value("utc").toString();
        EXPECT_TRUE(QDateTime::fromString(utc, Qt::ISODateWithMs).isValid() && utc.endsWith('Z') && utc.contains('.'))
            << qPrintable(utc);
        EXPECT_GE(object.value("atMs").toDouble(-1.0), last);
        last = object.value("atMs").toDouble();
    }
    EXPECT_GT(last, 0.0);
}

TEST_F(ConsoleJson, ARejectionNamesTheRuleAndTheClauseThatWasBroken)
{
    FakeDevice device(FakeDevice::answerShort);
    const QVector<QJsonObject> objects = run(refusedCommand, device);
    const QJsonObject rejected = firstOf(objects, "rejected");
    EXPECT_EQ(rejected.value("name").toString(), QString::fromUtf8("Größe"));
    EXPECT_EQ(rejected.value("broken").toString(), "payload holds 128 bytes, needs 129");
    EXPECT_EQ(rejected.value("rule").toString(), "length 129");
    EXPECT_TRUE(firstOf(objects, "gaveUp").value("reason").toString().endsWith("payload holds 128 bytes, needs 129"));
    EXPECT_EQ(objects.last().value("rejectedByRule").toObject().value("F1/05: length 129").toInt(), 2);
}

TEST_F(ConsoleJson, TheSummaryHasTheCountersAndTheVerdict)
{
    FakeDevice device(FakeDevice::stayAway);
    const QJsonObject summary = run(getVolume, device, {}, 1).last();
    EXPECT_EQ(summary.value("event").toString(), "summary");
    EXPECT_EQ(summary.value("exitStatus").toInt(-1), 1);
    EXPECT_FALSE(summary.value("asExpected").toBool(true));
    EXPECT_EQ(summary.value("counters").toObject().value("gaveUp").toInt(), 1);
    EXPECT_EQ(summary.value("counters").toObject().value("resent").toInt(), 1);
    ASSERT_EQ(summary.value("mismatches").toArray().size(), 1);
    EXPECT_TRUE(summary.value("mismatches").toArray().at(0).toString().startsWith("get volume: expected answered"));
}

TEST_F(ConsoleJson, QuietLeavesTheSummaryAndTheStart)
{
    FakeDevice device(FakeDevice::echo);
    EXPECT_EQ(eventsOf(run(R"({"head": "01 08 00 00 00 00"})", device, {"--quiet"})),
              QStringList({"start", "summary"}));
}

TEST_F(ConsoleJson, ALinkThatCannotBeOpenedIsAProblemOfTheRun)
{
    RunningConsole console(runArguments(session(getVolume), "tcp://127.0.0.1:1") + QStringList{"--json"});
    EXPECT_EQ(console.exitStatus(), 3);
    const QVector<QJsonObject> objects = objectsOf(console);
    EXPECT_TRUE(firstOf(objects, "problem").value("reason").toString().startsWith("cannot reach tcp://127.0.0.1:1"));
    EXPECT_EQ(firstOf(objects, "problem").value("problem").toString(), "linkFailed");
    EXPECT_TRUE(objects.last().value("endedEarly").toBool());
    EXPECT_EQ(objects.last().value("stopped").toArray(), QJsonArray{"get volume"});
    EXPECT_TRUE(console.errors().startsWith("biz_console: cannot reach ")) << qPrintable(console.errors());
}

TEST_F(ConsoleJson, AnInterruptedRunStillWritesItsSummary)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(runArguments(session(getVolumeTimes(100)), device.url()) + QStringList{"--json"});
    ASSERT_TRUE(console.waitForOutput(R"("event":"sent")"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    const QVector<QJsonObject> objects = objectsOf(console);
    EXPECT_EQ(firstOf(objects, "problem").value("problem").toString(), "interrupted");
    EXPECT_EQ(objects.last().value("stopped").toArray(), QJsonArray{"get volume (100 times)"});
}

TEST_F(ConsoleJson, OsdEventsNameTheirDeviceAndTheSummaryListsThem)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--json"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    const QVector<QJsonObject> objects = objectsOf(console);
    const QJsonObject gaveUp = firstOf(objects, "gaveUp");
    EXPECT_EQ(gaveUp.value("device").toString(), "127.3.0.2");
    EXPECT_EQ(gaveUp.value("head").toString(), "0D 01 00 00 00 00 00 00 00 00 00");
    const QJsonArray devices = objects.last().value("devices").toArray();
    ASSERT_EQ(devices.size(), 3);
    EXPECT_EQ(devices.at(0).toObject().value("answered").toInt(), 2);
    EXPECT_EQ(devices.at(1).toObject().value("gaveUp").toInt(), 2);
    EXPECT_GT(devices.at(2).toObject().value("roundTrip").toObject().value("medianMs").toDouble(), 0.0);
}

} // namespace
