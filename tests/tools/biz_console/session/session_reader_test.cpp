#include <gtest/gtest.h>

#include <QtCore/QRegularExpression>

#include <biz_console/session/session_reader.h>
#include <common/errors.h>

using namespace biz::console;
using biz::host::EventKind;
using biz::host::Outcome;

namespace {

QByteArray deviceSession(const char *commands)
{
    return QByteArray(R"({"deviceType": "0x1400", "commands": )") + commands + "}";
}

QByteArray osdSession(const char *members)
{
    return QByteArray(R"({"commands": [{"head": "0D 01 00 00 00 00 00 00 00 00 00"}], )") + members + "}";
}

template<typename Read>
QStringList problemsOf(Read read, const QByteArray &json)
{
    try {
        read({"s.json", json});
    } catch (const biz::tools::InputError &error) {
        return error.problems();
    }
    return {};
}

/** Whether a problem is told, at whatever line and column. */
template<typename Read>
testing::AssertionResult tells(Read read, const QByteArray &json, const QString &problem)
{
    const QStringList told = problemsOf(read, json);
    const QRegularExpression form("^s\\.json:\\d+:\\d+: " + QRegularExpression::escape(problem) + "$");
    return told.filter(form).size() == 1 ? testing::AssertionSuccess()
                                         : testing::AssertionFailure() << qPrintable(told.join('\n'));
}

DeviceSession deviceSessionOf(const QByteArray &json)
{
    return readDeviceSession({"s.json", json});
}

OsdSession osdSessionOf(const QByteArray &json)
{
    return readOsdSession({"s.json", json});
}

struct BadSession
{
    const char *what;
    QByteArray json;
    const char *message;
};

void PrintTo(const BadSession &session, std::ostream *out)
{
    *out << session.what;
}

class BadDeviceSession : public testing::TestWithParam<BadSession>
{
};

TEST_P(BadDeviceSession, IsRefusedWithItsPlaceAndWhatWasExpected)
{
    EXPECT_TRUE(tells(readDeviceSession, GetParam().json, GetParam().message));
}

const char *const head = R"("head": "F1 08 03 62 01 00")";

QByteArray commandWith(const char *members)
{
    return deviceSession((QByteArray("[{") + head + ", " + members + "}]").constData());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Console, BadDeviceSession, testing::Values(
    BadSession{"syntax", "{\n  \"deviceType\": tru\n}", "JSON expected: a value, not tru"},
    BadSession{"missing comma", "{\n  \"deviceType\": 1\n  \"commands\": []\n}",
        "JSON expected: ',' or '}' behind a member, not '\"'"},
    BadSession{"empty file", "", "JSON expected: an object, not an empty text"},
    BadSession{"array", "[]", "an object expected, not an array"},
    BadSession{"unknown key", R"({"devicetype": 1})",
        "devicetype: unknown key; did you mean \"deviceType\"?"},
    BadSession{"unknown key that is like no other", R"({"colour": 1})",
        "colour: unknown key; expected one of description, deviceType, pipelined, defaultWaitMs, commands"},
    BadSession{"unknown key of a command", R"({"deviceType": "A2", "commands": [{"head": "F10803620100", "waitms": 5}]})",
        "commands[0].waitms: unknown key; did you mean \"waitMs\"?"},
    BadSession{"no model", R"({"commands": []})", "deviceType: a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not nothing"},
    BadSession{"unknown model", R"({"deviceType": "A9"})",
        "deviceType: a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not \"A9\""},
    BadSession{"misspelt model", R"({"deviceType": "A1MXA"})",
        "deviceType: a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not \"A1MXA\"; did you mean 'A1MAX'?"},
    BadSession{"model with a fraction", R"({"deviceType": 1.5})",
        "deviceType: a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not 1.5"},
    BadSession{"model below -1", R"({"deviceType": "-2"})",
        "deviceType: a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not \"-2\""},
    BadSession{"no commands", R"({"deviceType": 1})", "commands: an array of at least one command expected, not nothing"},
    BadSession{"empty commands", deviceSession("[]"), "commands: an array of at least one command expected, not an empty one"},
    BadSession{"command is a number", deviceSession("[7]"), "commands[0]: an object expected, not 7"},
    BadSession{"no head", deviceSession("[{}]"),
        "commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not nothing"},
    BadSession{"short head", deviceSession(R"([{"head": "F1 08 03 62 01"}])"),
        "commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not \"F1 08 03 62 01\""},
    BadSession{"long head", deviceSession(R"([{"head": "F1 08 03 62 01 00 00"}])"),
        "commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not \"F1 08 03 62 01 00 00\""},
    BadSession{"half a byte", deviceSession(R"([{"head": "F1 08 03 62 01 0"}])"),
        "commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not \"F1 08 03 62 01 0\""},
    BadSession{"second command", deviceSession(R"([{"head": "F1 08 03 62 01 00"}, {"head": 3}])"),
        "commands[1].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not 3"},
    BadSession{"data no hex", commandWith(R"("data": "0G")"),
        "commands[0].data: bytes in hexadecimal such as \"01 02 ff\" expected, not \"0G\""},
    BadSession{"no wait", commandWith(R"("waitMs": 0)"), "commands[0].waitMs: a whole number from 1 to 3600000 expected, not 0"},
    BadSession{"more than an hour", commandWith(R"("waitMs": 3600001)"),
        "commands[0].waitMs: a whole number from 1 to 3600000 expected, not 3600001"},
    BadSession{"wait in words", commandWith(R"("waitMs": "300")"),
        "commands[0].waitMs: a whole number from 1 to 3600000 expected, not \"300\""},
    BadSession{"wait with a fraction", commandWith(R"("waitMs": 1.5)"),
        "commands[0].waitMs: a whole number from 1 to 3600000 expected, not 1.5"},
    BadSession{"no repeat", commandWith(R"("repeat": 0)"), "commands[0].repeat: a whole number from 1 to 1000000 expected, not 0"},
    BadSession{"too many repeats", commandWith(R"("repeat": 1000001)"),
        "commands[0].repeat: a whole number from 1 to 1000000 expected, not 1000001"},
    BadSession{"too many in all", deviceSession(R"([{"head": "F10803620100", "repeat": 1000000}, {"head": "F10803620100"}])"),
        "commands: at most 1000000 in all expected, repeats and devices included, not 1000001"},
    BadSession{"name", commandWith(R"("name": 7)"), "commands[0].name: a text expected, not 7"},
    BadSession{"expect", commandWith(R"("expect": "answered")"), "commands[0].expect: an object expected, not \"answered\""},
    BadSession{"outcome", commandWith(R"("expect": {"outcome": "lost"})"),
        "commands[0].expect.outcome: one of answered, gaveUp, cleared, skipped, stopped, released, expired, superseded, cancelled, unreachable, interrupted expected, not \"lost\""},
    BadSession{"event", commandWith(R"("expect": {"events": ["resent", "gone"]})"),
        "commands[0].expect.events[1]: one of sent, resent, rejected, late, duplicate, foreign expected, not \"gone\""},
    BadSession{"events no array", commandWith(R"("expect": {"events": "resent"})"),
        "commands[0].expect.events: an array of texts expected, not \"resent\""},
    BadSession{"pipelined", R"({"deviceType": 1, "pipelined": 1})", "pipelined: true or false expected, not 1"},
    BadSession{"former key", R"({"deviceType": 1, "nSysPlan": 0})", "nSysPlan: \"pipelined\", true or false, expected in its place"}));
// clang-format on

class BadOsdSession : public testing::TestWithParam<BadSession>
{
};

TEST_P(BadOsdSession, IsRefusedWithItsPlaceAndWhatWasExpected)
{
    EXPECT_TRUE(tells(readOsdSession, GetParam().json, GetParam().message));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Console, BadOsdSession, testing::Values(
    BadSession{"no devices", osdSession(R"("port": 1)"), "devices: an array of at least one address expected, not nothing"},
    BadSession{"port", osdSession(R"("port": 65536)"), "port: a whole number from 1 to 65535 expected, not 65536"},
    BadSession{"short address", osdSession(R"("devices": ["127.1"])"),
        "devices[0]: an address such as \"127.1.0.1\" expected, not \"127.1\""},
    BadSession{"device twice", osdSession(R"("devices": ["127.0.0.2", "127.0.0.2"])"),
        "devices[1]: each device once expected, not 127.0.0.2 again"},
    BadSession{"range without first", osdSession(R"("devices": {"count": 2})"),
        "devices.first: an address such as \"127.1.0.1\" expected, not \"\""},
    BadSession{"range of no devices", osdSession(R"("devices": {"first": "127.1.0.1", "count": 0})"),
        "devices.count: a whole number from 1 to 65535 expected, not 0"},
    BadSession{"range beyond the last address", osdSession(R"("devices": {"first": "255.255.255.255", "count": 2})"),
        "devices.count: at most 1 addresses from 255.255.255.255 on expected, not 2"},
    BadSession{"range of another kind", osdSession(R"("devices": {"first": "::1", "count": 2})"),
        "devices.first: an IPv4 address expected, not \"::1\""},
    BadSession{"silent stranger", osdSession(R"("devices": ["127.0.0.2"], "silent": ["127.0.0.3"])"),
        "silent[0]: one of the session's devices expected, not \"127.0.0.3\""},
    BadSession{"silent stranger beside several devices",
        osdSession(R"("devices": ["127.0.0.2", "127.0.0.4"], "silent": ["127.0.0.3"])"),
        "silent[0]: one of the session's devices expected, not \"127.0.0.3\""},
    BadSession{"too many in all", R"({"devices": ["127.0.0.2", "127.0.0.3"],
        "commands": [{"head": "0D01000000000000000000", "repeat": 50001}]})",
        "commands: at most 100000 in all expected, repeats and devices included, not 100002"},
    BadSession{"head of a device command", R"({"devices": ["127.0.0.2"], "commands": [{"head": "F1 08 03 62 01 00"}]})",
        "commands[0].head: 11 bytes in hexadecimal such as \"0D 01 00 00 00 00 00 00 00 00 00\" expected, not \"F1 08 03 62 01 00\""},
    BadSession{"flag", R"({"devices": ["127.0.0.2"], "commands": [{"head": "0D01000000000000000000", "flag": 256}]})",
        "commands[0].flag: a whole number from 0 to 255 expected, not 256"}));
// clang-format on

TEST(ConsoleSessionReader, AllThatIsWrongIsToldWithLineAndColumn)
{
    const QByteArray session = "{\n  \"deviceType\": \"A2\",\n  \"speed\": 3,\n  \"commands\": [\n"
                               "    {\"head\": \"F1\", \"waitMs\": 0},\n    {\"name\": \"x\"}\n  ]\n}\n";
    EXPECT_EQ(problemsOf(readDeviceSession, session),
              (QStringList{"s.json:3:3: speed: unknown key; expected one of description, deviceType, pipelined, "
                           "defaultWaitMs, commands",
                           "s.json:5:14: commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" "
                           "expected, not \"F1\"",
                           "s.json:5:30: commands[0].waitMs: a whole number from 1 to 3600000 expected, not 0",
                           "s.json:6:5: commands[1].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" "
                           "expected, not nothing"}));
}

TEST(ConsoleSessionReader, OfManyProblemsTheFirstAreToldAndTheOthersCounted)
{
    QByteArray commands;
    for (int i = 0; i < 2500; ++i) {
        commands += i == 0 ? "[{}" : ", {}";
    }
    const QStringList told = problemsOf(readDeviceSession, deviceSession((commands + "]").constData()));
    EXPECT_EQ(told.size(), 21);
    EXPECT_EQ(told.last(), "s.json: and 2480 problems more");
}

TEST(ConsoleSessionReader, ASessionOfTheOtherChannelIsSentThere)
{
    EXPECT_EQ(problemsOf(readDeviceSession, R"({"devices": ["127.0.0.2"]})"),
              QStringList{"s.json:1:2: \"devices\" is of an OSD session: use 'biz_console osd'"});
    EXPECT_EQ(problemsOf(readOsdSession, R"({"deviceType": "A2"})"),
              QStringList{"s.json:1:2: \"deviceType\" is of a session for one device: use 'biz_console run'"});
}

TEST(ConsoleSessionReader, ARecordingIsSentToReplay)
{
    EXPECT_EQ(problemsOf(readOsdSession, "{\"channel\":\"osd\",\"event\":\"recording\"}\n{}\n"),
              QStringList{"s.json: this is a recording: use 'biz_console replay' or 'show'"});
}

TEST(ConsoleSessionReader, AnEmptyNameIsNone)
{
    EXPECT_EQ(deviceSessionOf(commandWith(R"("name": "")")).commands[0].name, "F1/08");
}

TEST(ConsoleSessionReader, TakesTheHeadFromByteOneOn)
{
    const DeviceSession session = deviceSessionOf(commandWith(R"("data": "01 fF", "waitMs": 300, "repeat": 2)"));
    ASSERT_EQ(session.commands.size(), 1);
    const model_Protocoldata &record = session.commands[0].record;
    const unsigned char expected[7] = {0, 0xF1, 0x08, 0x03, 0x62, 0x01, 0x00};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), record.ucHead));
    EXPECT_EQ(record.baData, QByteArray("\x01\xFF"));
    EXPECT_EQ(record.iWaitTime, 300);
    EXPECT_EQ(session.commands[0].repeat, 2);
    EXPECT_EQ(session.deviceType, 0x1400);
}

TEST(ConsoleSessionReader, FillsInDefaults)
{
    const DeviceSession session = deviceSessionOf(deviceSession(R"([{"head": "F10803620100"}])"));
    EXPECT_FALSE(session.isPipelined);
    EXPECT_EQ(session.commands[0].name, "F1/08");
    EXPECT_EQ(session.commands[0].record.iWaitTime, 500);
    EXPECT_EQ(session.commands[0].repeat, 1);
    EXPECT_TRUE(session.commands[0].record.baData.isEmpty());
    EXPECT_EQ(session.commands[0].expected.outcome, Outcome::Answered);
    EXPECT_EQ(session.commands[0].expected.events, Events());
}

TEST(ConsoleSessionReader, TheSessionsWaitStandsWhereACommandHasNone)
{
    const DeviceSession session = deviceSessionOf(R"({"deviceType": 5120, "defaultWaitMs": 250, "commands": [
        {"head": "F10803620100"}, {"head": "F10803620100", "waitMs": 3600000}]})");
    EXPECT_EQ(session.deviceType, 5120);
    EXPECT_EQ(session.commands[0].record.iWaitTime, 250);
    EXPECT_EQ(session.commands[1].record.iWaitTime, 3'600'000);
}

TEST(ConsoleSessionReader, ReadsExpectations)
{
    const DeviceSession session =
        deviceSessionOf(commandWith(R"("expect": {"outcome": "gaveUp", "events": ["resent", "late"]})"));
    EXPECT_EQ(session.commands[0].expected.outcome, Outcome::GaveUp);
    EXPECT_EQ(session.commands[0].expected.events, (Events{EventKind::Resent, EventKind::Late}));
}

TEST(ConsoleSessionReader, TheModelMayBeNamed)
{
    const QByteArray session = R"({"deviceType": "a1max", "pipelined": true, "commands": [{"head": "F10803620100"}]})";
    EXPECT_EQ(deviceSessionOf(session).deviceType, 0x1700);
    EXPECT_TRUE(deviceSessionOf(session).isPipelined);
}

TEST(ConsoleSessionReader, ALeadingZeroIsDecimal)
{
    EXPECT_EQ(deviceSessionOf(R"({"deviceType": "010", "commands": [{"head": "F10803620100"}]})").deviceType, 10);
}

TEST(ConsoleSessionReader, CountsDevicesFromTheFirstOn)
{
    const OsdSession session =
        osdSessionOf(osdSession(R"("devices": {"first": "127.1.0.254", "count": 4}, "silent": ["127.1.1.1"])"));
    EXPECT_EQ(session.devices, QStringList({"127.1.0.254", "127.1.0.255", "127.1.1.0", "127.1.1.1"}));
    EXPECT_EQ(session.silent, QSet<QString>({"127.1.1.1"}));
    EXPECT_EQ(session.port, 15701);
    EXPECT_EQ(session.commands[0].record.iWaitTime, 2000);
    EXPECT_EQ(session.commands[0].name, "0D/01");
}

} // namespace
