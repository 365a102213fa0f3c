#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_console/cli/command_line.h>
#include <biz_console/recording/recording_compare.h>
#include <biz_console/recording/recording_reader.h>
#include <host/version.h>
#include <tools/support/console_process.h>

using namespace biz::test;
using namespace biz::console;

namespace {

QString recordingFile(const char *name)
{
    return QStringLiteral(BIZ_RECORDINGS "/") + QString::fromLatin1(name);
}

QVector<QJsonObject> objectsOf(const QByteArray &lines)
{
    QVector<QJsonObject> objects;
    for (const QByteArray &line : lines.trimmed().split('\n')) {
        objects.append(QJsonDocument::fromJson(line).object());
    }
    return objects;
}

QVector<QJsonObject> eventsNamed(const QVector<QJsonObject> &objects, const QString &event)
{
    QVector<QJsonObject> found;
    for (const QJsonObject &object : objects) {
        if (object.value("event") == event) {
            found.append(object);
        }
    }
    return found;
}

class ConsoleRecord : public ConsoleProcess
{
protected:
    QStringList recordArguments(const FakeDevice &device, const QByteArray &commands) const
    {
        return runArguments(session(commands, "5120"), device.url()) + QStringList{"--record", file("rec.jsonl")};
    }

    /** Leaves a recording of these commands in rec.jsonl. */
    void record(const FakeDevice &device, const QByteArray &commands, int exitStatus = 0,
                const QStringList &more = {}) const
    {
        RunningConsole console(recordArguments(device, commands) + more);
        EXPECT_EQ(console.exitStatus(), exitStatus) << qPrintable(console.output() + console.errors());
    }

    /** What was recorded last, but for the lines that hold this text. */
    QByteArray recordedWithout(const char *text) const
    {
        QByteArray kept;
        for (const QByteArray &line : contentOf(file("rec.jsonl")).trimmed().split('\n')) {
            kept += line.contains(text) ? QByteArray() : line + '\n';
        }
        return kept;
    }

    void expectReplayed(const QString &recording, const char *result) const
    {
        RunningConsole console({"replay", recording}, {}, folder.path());
        EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
        EXPECT_STREQ(qPrintable(console.output()), result);
        EXPECT_EQ(console.errors(), "");
    }
};

const QByteArray giveBytes = R"({"name": "give bytes", "head": "01 02 03 62 01 00", "data": "AA BB"})";
const QByteArray getShort = R"({"name": "get timer", "head": "F1 05 00 81 00 00"})";

// --- Recording ------------------------------------------------------------------------

TEST_F(ConsoleRecord, TheFirstLineSaysWhatWasRecorded)
{
    FakeDevice device(FakeDevice::echo);
    record(device, giveBytes);
    const QJsonObject head = objectsOf(contentOf(file("rec.jsonl"))).first();
    EXPECT_EQ(head.value("event"), "recording");
    EXPECT_EQ(head.value("format"), 2);
    EXPECT_EQ(head.value("tool"), "biz_console " BIZ_VERSION);
    EXPECT_EQ(head.value("library"), biz::host::libraryVersion());
    EXPECT_EQ(head.value("channel"), "device");
    EXPECT_EQ(head.value("link"), device.url());
    EXPECT_EQ(head.value("deviceType"), 5120);
    EXPECT_EQ(head.value("pipelined"), false);
    EXPECT_TRUE(QDateTime::fromString(head.value("utc").toString(), Qt::ISODateWithMs).isValid());
}

TEST_F(ConsoleRecord, EverythingAtTheBoundaryIsALineWithBothTimes)
{
    FakeDevice device(FakeDevice::echo);
    record(device, giveBytes);
    QVector<QJsonObject> lines = objectsOf(contentOf(file("rec.jsonl")));
    lines.removeFirst();
    QStringList events;
    double before = 0.0;
    for (const QJsonObject &line : qAsConst(lines)) {
        events.append(line.value("event").toString());
        EXPECT_TRUE(QDateTime::fromString(line.value("utc").toString(), Qt::ISODateWithMs).isValid());
        // The clocks of events and bytes start one after the other.
        EXPECT_GE(line.value("atMs").toDouble(-1.0), before - 1.0) << qPrintable(events.last());
        before = line.value("atMs").toDouble();
    }
    EXPECT_EQ(events.join(' '), "given linkStateChanged linkOpened bytesOut linkStateChanged opened writing bytesOut "
                                "sent bytesIn answered linkClosed summary")
        << qPrintable(events.join(' '));
}

TEST_F(ConsoleRecord, TheBytesAreThoseOfTheLink)
{
    QByteArray answered;
    FakeDevice device([&answered](FakeDevice &self, const model_Protocoldata &command) {
        answered = biz::host::DemoFrameCodec().encode(command);
        self.send(command);
    });
    record(device, giveBytes);
    const QVector<QJsonObject> lines = objectsOf(contentOf(file("rec.jsonl")));
    const auto bytesOf = [&lines](const char *event) {
        QByteArray bytes;
        for (const QJsonObject &transfer : eventsNamed(lines, event)) {
            bytes += QByteArray::fromHex(transfer.value("data").toString().toLatin1());
        }
        return bytes;
    };
    EXPECT_EQ(bytesOf("bytesOut"), biz::host::DemoFrameCodec().preamble() + answered);
    EXPECT_EQ(bytesOf("bytesIn"), answered);
}

TEST_F(ConsoleRecord, AFileThatCannotBeWrittenIsBadInputBeforeAnythingIsSent)
{
    FakeDevice device(FakeDevice::echo);
    QStringList arguments = recordArguments(device, giveBytes);
    arguments.last() = file("missing/rec.jsonl");
    RunningConsole console(arguments);
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(),
              "biz_console: " + arguments.last() + ": cannot be written: No such file or directory\n");
    EXPECT_EQ(device.commands(), 0);
}

TEST_F(ConsoleRecord, AFullDiskEndsTheRunAndIsTold)
{
    FakeDevice device(FakeDevice::echo);
    QStringList arguments = recordArguments(device, giveBytes);
    arguments.last() = "/dev/full";
    RunningConsole console(arguments + QStringList{"--repeat", "0"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(
        console.errors().endsWith("biz_console: /dev/full: the recording could not be written: No space left on "
                                  "device\n"))
        << qPrintable(console.errors());
}

// --- Replaying what was recorded ------------------------------------------------------

TEST_F(ConsoleRecord, FaultsOfADeviceAreReplayedFromTheTree)
{
    expectReplayed(recordingFile("device_faults.jsonl"), "6 commands went as recorded\n");
    EXPECT_EQ(QDir(folder.path()).entryList({"Errorlog"}), QStringList()) << "a replay logs nothing here";
}

TEST_F(ConsoleRecord, FaultsOfOsdDevicesAreReplayedFromTheTree)
{
    expectReplayed(recordingFile("osd_faults.jsonl"), "4 commands went as recorded\n");
}

TEST_F(ConsoleRecord, DevicesOfAnyNetworkAreReplayedWithoutIt)
{
    const QString elsewhere =
        write("site.jsonl", contentOf(recordingFile("osd_faults.jsonl")).replace("127.1.0.", "192.0.2."));
    expectReplayed(elsewhere, "4 commands went as recorded\n");
}

TEST_F(ConsoleRecord, ALinkThatBrokeBreaksAgain)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() < 2) {
            self.send(command);
        } else {
            self.closeLink();
        }
    });
    record(device, giveBytes + "," + giveBytes + "," + giveBytes, 3);
    expectReplayed(file("rec.jsonl"), "3 commands went as recorded\n");
}

TEST_F(ConsoleRecord, AnOutageThatARunOutlastedComesAgain)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() == 2) {
            self.closeLink();
        } else {
            self.send(command);
        }
    });
    RunningConsole console(recordArguments(device, giveBytes + "," + giveBytes + "," + giveBytes) +
                           QStringList{"--reconnect"});
    EXPECT_EQ(console.exitStatus(), 1);
    ASSERT_TRUE(console.output().contains("  link up: after an outage of")) << qPrintable(console.output());
    expectReplayed(file("rec.jsonl"), "3 commands went as recorded\n");
}

TEST_F(ConsoleRecord, AnOutageInWhichTheUserEndedTheRunComesAgain)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata & /*command*/) { self.closeLink(); });
    RunningConsole console(recordArguments(device, giveBytes + "," + giveBytes) + QStringList{"--reconnect"});
    ASSERT_TRUE(console.waitForOutput("  link lost: "));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    expectReplayed(file("rec.jsonl"), "2 commands went as recorded\n");
}

/** As in a run whose device took nothing any more, so that the host closed the link itself. */
TEST_F(ConsoleRecord, ALinkThatTheHostClosedIsClosedInTheReplay)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata & /*command*/) { self.closeLink(); });
    record(device, giveBytes, 3);
    expectReplayed(write("altered.jsonl", recordedWithout(R"("event":"linkClosed")")), "1 command went as recorded\n");
}

TEST_F(ConsoleRecord, ADeviceThatCouldNotBeReachedCannotBeReachedAgain)
{
    FakeDevice device(FakeDevice::echo);
    QStringList arguments = recordArguments(device, giveBytes);
    arguments[3] = "tcp://127.0.0.1:1";
    RunningConsole console(arguments);
    EXPECT_EQ(console.exitStatus(), 3);
    expectReplayed(file("rec.jsonl"), "1 command went as recorded\n");
}

TEST_F(ConsoleRecord, ARecordingWithoutACommandEnds)
{
    FakeDevice device(FakeDevice::echo);
    record(device, giveBytes);
    QByteArray withoutCommand;
    const QByteArray recording = contentOf(file("rec.jsonl"));
    for (const QByteArray &line : recording.trimmed().split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        const QString event = object.value("event").toString();
        const bool isPreamble = event == "bytesOut" && object.value("data").toString() == "00";
        if (event == "recording" || event == "linkOpened" || event == "summary" || isPreamble) {
            withoutCommand += line + '\n';
        }
    }
    expectReplayed(write("empty.jsonl", withoutCommand), "0 commands went as recorded\n");
}

TEST_F(ConsoleRecord, AReplayWithoutATemporaryFolderIsRefused)
{
    qputenv("TMPDIR", "/dev/full");
    RunningConsole replay({"replay", recordingFile("device_faults.jsonl")}, {}, folder.path());
    qunsetenv("TMPDIR");
    EXPECT_EQ(replay.exitStatus(), 2);
    EXPECT_TRUE(replay.errors().startsWith("biz_console: no temporary folder can be made: "))
        << qPrintable(replay.errors());
    EXPECT_FALSE(QFile::exists(file("Errorlog")));
}

TEST_F(ConsoleRecord, AnInterruptedRunIsInterruptedAgain)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(
        recordArguments(device, R"({"name": "wait", "head": "01 02 03 62 01 00", "waitMs": 60000, "repeat": 3})"));
    ASSERT_TRUE(console.waitForOutput(" sent\n"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    expectReplayed(file("rec.jsonl"), "3 commands went as recorded\n");
}

TEST_F(ConsoleRecord, ARecordingMayComeFromTheStandardInput)
{
    FakeDevice device(FakeDevice::echo);
    record(device, giveBytes);
    RunningConsole replay({"replay", "-", "--events"}, contentOf(file("rec.jsonl")));
    EXPECT_EQ(replay.exitStatus(), 0);
    EXPECT_TRUE(replay.output().contains("give bytes")) << qPrintable(replay.output());
    EXPECT_TRUE(replay.output().endsWith("1 command went as recorded\n"));
}

// --- Replaying OSD devices, whose replies are known by the moment at which they come only --

const QByteArray osdHead =
    R"({"event":"recording","format":2,"channel":"osd","link":"x","utc":"2026-01-01T00:00:00.000Z"})"
    "\n";

/** A line about a command of the device 192.0.2.1. */
QByteArray osdLine(const char *event, int ticket, double atMs, const QByteArray &more = {})
{
    return R"({"event":")" + QByteArray(event) + R"(","ticket":)" + QByteArray::number(ticket) + R"(,"atMs":)" +
           QByteArray::number(atMs) + R"(,"device":"192.0.2.1","flag":0,"attempts":1,)" + more +
           R"("head":"0D 01 00 00 00 00 00 00 00 00 00"})" + "\n";
}

QByteArray osdGiven(int ticket, double atMs)
{
    return osdLine("given", ticket, atMs, R"("name":"show","waitMs":1000,)");
}

QByteArray osdAnswered(int ticket, double atMs)
{
    return osdLine("answered", ticket, atMs, R"("roundTripMs":1,)");
}

const QByteArray openedLine = R"({"event":"opened","atMs":1})"
                              "\n";
const QByteArray summaryLine = R"({"event":"summary"})";

TEST_F(ConsoleRecord, ADuplicateThatCameBeforeTheNextCommandComesBeforeItAgain)
{
    expectReplayed(write("rec.jsonl", osdHead + osdGiven(1, 1) + osdGiven(2, 1) + osdLine("sent", 1, 3) +
                                          osdAnswered(1, 4) + osdLine("duplicate", 1, 60) + osdLine("sent", 2, 70) +
                                          osdAnswered(2, 71) + summaryLine),
                   "2 commands went as recorded\n");
}

TEST_F(ConsoleRecord, AnOsdReplyThatCameAtTheVeryEndOfTheRunIsPlayed)
{
    expectReplayed(write("rec.jsonl", osdHead + osdGiven(1, 1) + osdLine("sent", 1, 3) + osdAnswered(1, 4) +
                                          osdLine("duplicate", 1, 1300) + summaryLine),
                   "1 command went as recorded\n");
}

TEST_F(ConsoleRecord, AnEndlessOsdRunThatItsUserEndedEndsAtTheSameCommand)
{
    expectReplayed(write("rec.jsonl", osdHead + osdGiven(1, 1) + osdLine("sent", 1, 3) + osdAnswered(1, 4) +
                                          osdGiven(2, 5) + osdLine("sent", 2, 7) + osdLine("stopped", 2, 50) +
                                          summaryLine),
                   "2 commands went as recorded\n");
}

/** As of a second round: given at once, it would have been given up long before the user ended the run. */
TEST_F(ConsoleRecord, ACommandThatWasGivenAfterOthersHadEndedIsGivenAfterThemAgain)
{
    const auto ofOther = [](QByteArray line) {
        return line.replace("192.0.2.1", "192.0.2.2");
    };
    const auto patient = [](QByteArray line) {
        return line.replace("\"waitMs\":1000", "\"waitMs\":9000");
    };
    expectReplayed(write("rec.jsonl",
                         osdHead + openedLine + patient(osdGiven(1, 1)) + patient(ofOther(osdGiven(2, 1))) +
                             osdLine("sent", 1, 3) + ofOther(osdLine("sent", 2, 3)) + osdAnswered(1, 4) +
                             ofOther(osdLine("answered", 2, 2500, R"("roundTripMs":2497,)")) + osdGiven(3, 2501) +
                             ofOther(osdGiven(4, 2501)) + osdLine("sent", 3, 2504) + ofOther(osdLine("sent", 4, 2504)) +
                             osdLine("stopped", 3, 2510) + ofOther(osdLine("stopped", 4, 2510)) + summaryLine),
                   "4 commands went as recorded\n");
}

TEST_F(ConsoleRecord, ACommandThatWasNotSentBeforeAnInterruptionIsNotSentInTheReplay)
{
    expectReplayed(write("rec.jsonl", osdHead + osdGiven(1, 1) + osdGiven(2, 1) + osdLine("sent", 1, 3) +
                                          osdAnswered(1, 4) +
                                          "{\"event\":\"problem\",\"problem\":\"interrupted\",\"atMs\":50}\n" +
                                          osdLine("stopped", 2, 51) + summaryLine),
                   "2 commands went as recorded\n");
}

TEST_F(ConsoleRecord, ARunWhoseOutputFailedEndsAtTheSameCommand)
{
    expectReplayed(write("rec.jsonl", osdHead + osdGiven(1, 1) + osdLine("sent", 1, 3) +
                                          "{\"event\":\"problem\",\"problem\":\"outputFailed\",\"atMs\":50}\n" +
                                          osdLine("stopped", 1, 51) + summaryLine),
                   "1 command went as recorded\n");
}

// --- Replaying something else ---------------------------------------------------------

TEST_F(ConsoleRecord, AReplyThatIsNotAcceptedAnyMoreIsADifference)
{
    FakeDevice device(FakeDevice::answerShort);
    record(device, getShort, 1);
    // As if the reply had been accepted when it was recorded: the library is stricter now.
    RunningConsole replay({"replay", write("altered.jsonl", recordedWithout(R"("event":"rejected")"))});
    EXPECT_EQ(replay.exitStatus(), 1);
    EXPECT_TRUE(replay.output().startsWith("get timer, given in line 2\n    recorded: resent: "))
        << qPrintable(replay.output());
    EXPECT_TRUE(replay.output().contains("    replayed: rejected: ")) << qPrintable(replay.output());
    EXPECT_TRUE(replay.output().contains("payload holds 128 bytes, needs 129\n"));
    EXPECT_TRUE(replay.output().endsWith("\n1 command replayed, not as recorded\n")) << qPrintable(replay.output());
}

TEST_F(ConsoleRecord, AReplyThatIsMissingIsADifference)
{
    QList<QByteArray> lines = contentOf(recordingFile("device_faults.jsonl")).split('\n');
    lines.erase(std::find_if(lines.begin(), lines.end(),
                             [](const QByteArray &line) { return line.contains(R"("event":"bytesIn")"); }));
    RunningConsole replay({"replay", write("altered.jsonl", lines.join('\n'))});
    EXPECT_EQ(replay.exitStatus(), 1);
    EXPECT_TRUE(replay.output().startsWith("get scene, given in line 2\n    recorded: answered after 1 attempt: "))
        << qPrintable(replay.output());
}

TEST_F(ConsoleRecord, AnInterruptedReplayIsNotAsRecorded)
{
    FakeDevice device(FakeDevice::stayAway);
    record(device, R"({"name": "wait", "head": "01 02 03 62 01 00", "waitMs": 2000})", 1);
    RunningConsole replay({"replay", file("rec.jsonl"), "--events"});
    ASSERT_TRUE(replay.waitForOutput(" sent\n"));
    replay.sendSignal(SIGINT);
    EXPECT_EQ(replay.exitStatus(), 1);
    EXPECT_EQ(replay.errors(), "biz_console: interrupted\n");
}

// --- What is no recording -------------------------------------------------------------

/** A recording of one OSD command, with a line replaced. */
QByteArray linesWith(int number, const QByteArray &line)
{
    QList<QByteArray> lines{
        R"({"event":"recording","format":2,"channel":"device","link":"x","deviceType":5,"pipelined":false,"utc":"2026-01-01T00:00:00.000Z"})",
        R"({"event":"given","ticket":1,"name":"n","head":"00 01 02 03 04 05 06","waitMs":100,"atMs":1})",
        R"({"event":"sent","ticket":1,"head":"01 01 02 03 04 05 06","atMs":2})",
        R"({"event":"gaveUp","ticket":1,"attempts":2,"atMs":300})", R"({"event":"summary"})"};
    lines[number - 1] = line;
    return lines.join('\n') + '\n';
}

struct BadRecording
{
    const char *name;
    QByteArray content;
    const char *message;
};

void PrintTo(const BadRecording &row, std::ostream *out)
{
    *out << row.name;
}

class ConsoleBadRecording : public testing::TestWithParam<BadRecording>
{
};

TEST_P(ConsoleBadRecording, IsRefusedWithItsLine)
{
    RunningConsole console({"replay", "-"}, GetParam().content);
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    EXPECT_STREQ(qPrintable(console.errors()),
                 qPrintable(QString("biz_console: standard input:%1\n").arg(GetParam().message)));
}

INSTANTIATE_TEST_SUITE_P(
    Console, ConsoleBadRecording,
    testing::Values(
        BadRecording{"Nothing", "", " a recording expected, not an empty file"},
        BadRecording{
            "NoJson", "hello\n",
            "1:1: JSON expected: a value, not hello\nbiz_console: standard input: no recording; sessions are played by "
            "'biz_console run' and 'biz_console osd'"},
        BadRecording{"ASessionOnOneLine", "{\"devices\":[]}\n",
                     "1: event: a text expected\nbiz_console: standard input: no recording; sessions are played by "
                     "'biz_console run' and 'biz_console osd'"},
        BadRecording{"ARepeatedKey", linesWith(3, R"({"event":"sent","ticket":1,"ticket":2})"),
                     "3:28: \"ticket\" stands twice in one object, first at standard input:3:17"},
        BadRecording{"NoHead", "{\"event\":\"start\"}\n",
                     "1: the head of a recording expected, as 'biz_console run --record' writes it"},
        BadRecording{"AnotherFormat", linesWith(1, R"({"event":"recording","format":7})"),
                     "1: format 2 expected, not 7"},
        BadRecording{"AnUnknownEvent", linesWith(3, R"({"event":"danced"})"),
                     "3: event: one of a recording expected, not \"danced\""},
        BadRecording{"AShortHead", linesWith(2, R"({"event":"given","ticket":1,"name":"n","head":"00","waitMs":100})"),
                     "2: head: 7 bytes in hexadecimal expected, not \"00\""},
        BadRecording{"NoWait", linesWith(2, R"({"event":"given","ticket":1,"name":"n","head":"00 01 02 03 04 05 06"})"),
                     "2: waitMs: a whole number expected"},
        BadRecording{"ACommandThatWasNotGiven", linesWith(3, R"({"event":"sent","ticket":9,"atMs":2})"),
                     "3: ticket: that of a command given before expected, not 9"},
        BadRecording{"TwoEnds", linesWith(3, R"({"event":"gaveUp","ticket":1,"attempts":2,"atMs":3})"),
                     "4: ticket: that of a command that has not ended expected"},
        BadRecording{"NoEnd", linesWith(4, R"({"event":"opened"})"),
                     "5: the end of the command of line 2 expected before the summary"},
        BadRecording{"ATimeBeforeTheStart", linesWith(4, R"({"event":"gaveUp","ticket":1,"attempts":2,"atMs":-3})"),
                     "4: atMs: a time in milliseconds expected, not -3"}),
    [](const auto &row) { return row.param.name; });

// --- What was cut off ---------------------------------------------------------------

TEST_F(ConsoleRecord, ARecordingThatWasCutOffIsPlayedUpToTheCut)
{
    const QByteArray whole = contentOf(recordingFile("device_faults.jsonl"));
    const QList<QByteArray> lines = whole.split('\n');
    QByteArray cut;
    for (int i = 0; i < 25; ++i) {
        cut += lines.at(i) + '\n';
    }
    cut += lines.at(25).left(100); // the line in which the power went
    RunningConsole console({"replay", write("cut.jsonl", cut)}, {}, folder.path());
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output() + console.errors());
    EXPECT_STREQ(qPrintable(console.output()), "6 commands went as recorded, up to the cut: the recording ends in line "
                                               "26 without its summary\n");
}

TEST_F(ConsoleRecord, ADifferenceBeforeTheCutIsOne)
{
    QList<QByteArray> lines = contentOf(recordingFile("device_faults.jsonl")).split('\n');
    lines = lines.mid(0, 25);
    lines.removeAt(14); // the reply of the first command
    RunningConsole console({"replay", write("cut.jsonl", lines.join('\n') + '\n')}, {}, folder.path());
    EXPECT_EQ(console.exitStatus(), 1) << qPrintable(console.output() + console.errors());
    EXPECT_TRUE(console.output().startsWith("get scene, given in line 2\n    recorded: answered"))
        << qPrintable(console.output());
}

TEST_F(ConsoleRecord, TheFileOfTheSessionIsNeverOverwritten)
{
    FakeDevice device(FakeDevice::echo);
    const QString path = session(giveBytes, "5120");
    ASSERT_TRUE(QFile::link(path, file("other_name.json")));
    const QByteArray before = contentOf(path);
    for (const QString &name : {path, file("other_name.json"), file("./session.json")}) {
        RunningConsole console(runArguments(path, device.url()) + QStringList{"--record", name});
        EXPECT_EQ(console.exitStatus(), 2);
        EXPECT_TRUE(
            console.errors().startsWith("biz_console: --record: another file than that of the session expected\n"));
    }
    EXPECT_EQ(contentOf(path), before);
    EXPECT_EQ(device.commands(), 0);
}

TEST_F(ConsoleRecord, NoTwoOutputsOfARunAreOneFile)
{
    const QString played = session(giveBytes);
    for (const QStringList &both :
         {QStringList{"--record", "out", "--junit", "out"}, QStringList{"--junit", "out", "--metrics", file("out")},
          QStringList{"--record-on-failure", "./out", "--metrics", "out"}}) {
        RunningConsole console(runArguments(played, "tcp://127.0.0.1:1") + both, {}, folder.path());
        EXPECT_EQ(console.exitStatus(), 2) << qPrintable(both.join(' '));
        EXPECT_TRUE(console.errors().contains(both.at(2) + ": another file than that of " + both.at(0)))
            << qPrintable(console.errors());
        EXPECT_FALSE(QFile::exists(file("out")));
    }
}

TEST_F(ConsoleRecord, ARefusedCommandLineLeavesOlderFilesAsTheyAre)
{
    const QString recording = write("old.jsonl", "old");
    const QString report = write("old.xml", "old");
    const QString played = session(giveBytes);
    const QStringList outputs{"--record", recording, "--junit", report};
    for (const QStringList &refused :
         {QStringList{"--json", "--watch"}, QStringList{"--metrics", played}, QStringList{"--log-dir", recording}}) {
        RunningConsole console(runArguments(played, "tcp://127.0.0.1:1") + outputs + refused);
        EXPECT_EQ(console.exitStatus(), 2) << qPrintable(refused.join(' '));
        EXPECT_EQ(QFileInfo(recording).size(), 3) << qPrintable(refused.join(' '));
        EXPECT_EQ(QFileInfo(report).size(), 3) << qPrintable(refused.join(' '));
    }
}

TEST_F(ConsoleRecord, CommandsWithoutANameAreReplayed)
{
    FakeDevice device(FakeDevice::echo);
    record(device, R"({"name": "", "head": "01 02 03 62 01 00"})");
    expectReplayed(file("rec.jsonl"), "1 command went as recorded\n");
}

TEST_F(ConsoleRecord, RoundsAtARateAreReplayed)
{
    FakeDevice device(FakeDevice::echo);
    record(device, giveBytes + "," + giveBytes, 0, {"--repeat", "3", "--rate", "50"});
    expectReplayed(file("rec.jsonl"), "6 commands went as recorded\n");
}

TEST_F(ConsoleRecord, AnEndlessRunThatWasEndedIsReplayed)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() < 3) {
            self.send(command);
        }
    });
    RunningConsole console(recordArguments(device, R"({"head": "01 02 03 62 01 00", "waitMs": 60000})") +
                           QStringList{"--repeat", "0"});
    ASSERT_TRUE(console.waitForOutput("answered"));
    ASSERT_TRUE(console.waitForOutput(" 03   "));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    expectReplayed(file("rec.jsonl"), "3 commands went as recorded\n");
}

// --- The last part of a run ---------------------------------------------------------

class ConsoleRecordOnFailure : public ConsoleRecord
{
protected:
    QStringList arguments(const FakeDevice &device, const QByteArray &commands) const
    {
        return runArguments(session(commands), device.url()) +
               QStringList{"--quiet", "--record-on-failure", file("rec.jsonl")};
    }
};

TEST_F(ConsoleRecordOnFailure, NothingIsWrittenWhenAllWentAsExpected)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(arguments(device, giveBytes));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_FALSE(QFile::exists(file("rec.jsonl")));
}

TEST_F(ConsoleRecordOnFailure, AFileOfTheSameNameInTheLogFolderIsLeftAlone)
{
    FakeDevice device(FakeDevice::echo);
    ASSERT_TRUE(QDir().mkpath(file("logs")));
    write("logs/last.jsonl", "of somebody else");
    RunningConsole console(runArguments(session(giveBytes), device.url()) +
                               QStringList{"--record-on-failure", "last.jsonl"},
                           {}, folder.path());
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(QFile::exists(file("logs/last.jsonl")));
    EXPECT_FALSE(QFile::exists(file("last.jsonl")));
}

TEST_F(ConsoleRecordOnFailure, AShortRunIsRecordedAsAWhole)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(arguments(device, giveBytes));
    EXPECT_EQ(console.exitStatus(), 1);
    expectReplayed(file("rec.jsonl"), "1 command went as recorded\n");
}

// Each command takes some 270 kB of a recording.
TEST_F(ConsoleRecordOnFailure, TheLastPartOfALongRunIsReplayed)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() < 100) {
            self.send(command);
        }
    });
    const QByteArray large =
        R"({"name": "large", "head": "01 02 03 62 01 00", "repeat": 100, "waitMs": 300, "data": ")" +
        QByteArray(2 * 30'000, 'A') + R"("})";
    RunningConsole console(arguments(device, large));
    EXPECT_EQ(console.exitStatus(), 1) << qPrintable(console.errors());
    EXPECT_LT(QFileInfo(file("rec.jsonl")).size(), 24 * 1024 * 1024);
    RunningConsole replay({"replay", file("rec.jsonl")}, {}, folder.path());
    EXPECT_EQ(replay.exitStatus(), 0) << qPrintable(replay.output().left(2000) + replay.errors());
    EXPECT_TRUE(replay.output().endsWith("commands went as recorded\n")) << qPrintable(replay.output().left(200));
    EXPECT_FALSE(replay.output().startsWith("100 ")) << "the run is longer than what is kept";
}

TEST_F(ConsoleRecordOnFailure, IsNotForAWholeRecordingToo)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(arguments(device, giveBytes) + QStringList{"--record", file("whole.jsonl")});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().startsWith("biz_console: --record-on-failure: cannot be used beside --record\n"));
}

// --- Replaying fast -----------------------------------------------------------------

TEST_F(ConsoleRecord, AFastReplayLeavesOutTheTimeThatDevicesTook)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) { self.sendAfter(400, command); });
    record(device, R"({"head": "01 02 03 62 01 00", "waitMs": 60000, "repeat": 10})");
    QElapsedTimer time;
    time.start();
    RunningConsole replay({"replay", file("rec.jsonl"), "--fast"}, {}, folder.path());
    EXPECT_EQ(replay.exitStatus(), 0) << qPrintable(replay.output());
    EXPECT_LT(time.elapsed(), 2500) << "the devices took four seconds";
}

TEST_F(ConsoleRecord, AFastReplayOfFaultsIsTheSame)
{
    for (const char *name : {"device_faults.jsonl", "osd_faults.jsonl"}) {
        RunningConsole replay({"replay", recordingFile(name), "--fast"}, {}, folder.path());
        EXPECT_EQ(replay.exitStatus(), 0) << qPrintable(replay.output());
    }
}

// --- The comparison -------------------------------------------------------------------

TEST(RecordingDifferences, ARecordingDoesNotDifferFromItself)
{
    const Recording recording = readRecordingFile(recordingFile("device_faults.jsonl"));
    EXPECT_EQ(differences(recording, recording), QStringList());
}

TEST(RecordingDifferences, AnotherByteOnTheWireIsOne)
{
    const Recording recorded = readRecordingFile(recordingFile("device_faults.jsonl"));
    Recording replayed = recorded;
    replayed.writes[1][4] = '\x7F';
    const QStringList lines = differences(recorded, replayed);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines.first(), "bytes of write 2");
}

TEST(RecordingDifferences, AWriteMoreIsOne)
{
    const Recording recorded = readRecordingFile(recordingFile("device_faults.jsonl"));
    Recording replayed = recorded;
    replayed.writes.append("x");
    EXPECT_EQ(differences(recorded, replayed).value(1), "    recorded: none");
}

TEST(RecordingDifferences, WhatBelongsToNoCommandCounts)
{
    const Recording recorded = readRecordingFile(recordingFile("device_faults.jsonl"));
    Recording replayed = recorded;
    replayed.strays.append("refused: 3 bytes, noise");
    EXPECT_EQ(differences(recorded, replayed), (QStringList{"what belongs to no command", "    recorded: nothing more",
                                                            "    replayed: refused: 3 bytes, noise"}));
}

TEST(RecordingSteps, AReplyFollowsTheWritesAndEndsThatItFollowed)
{
    const Recording recording = readRecordingFile(recordingFile("device_faults.jsonl"));
    ASSERT_EQ(recording.steps.first().kind, RecordedStep::Kind::Opened);
    const RecordedStep &answer = recording.steps.at(1);
    EXPECT_EQ(answer.kind, RecordedStep::Kind::Received);
    EXPECT_EQ(answer.writesBefore, 2) << "the preamble and the command";
    EXPECT_EQ(answer.endsBefore, 0);
    // The late reply of the second command came when that had ended and the third was under way.
    const RecordedStep &late = recording.steps.at(3);
    EXPECT_EQ(late.writesBefore, 5);
    EXPECT_EQ(late.endsBefore, 2);
    EXPECT_GT(late.delayMs, 50.0);
}

} // namespace
