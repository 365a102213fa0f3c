#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <biz_simulator/options/options.h>
#include <common/errors.h>
#include <support/scratch_folder.h>

namespace {

using namespace biz::simulator;

CommandLine read(const QString &arguments)
{
    return readCommandLine(QStringLiteral("biz_simulator %1").arg(arguments).trimmed().split(QLatin1Char(' ')));
}

/** What is wrong with the arguments; empty when nothing is. */
QString problemWith(const QString &arguments)
{
    try {
        read(arguments);
    } catch (const biz::tools::UsageError &error) {
        return error.text();
    } catch (const biz::tools::InputError &error) {
        return error.text();
    }
    return {};
}

/** The one device of the device channel that the arguments ask for. */
ListeningDevice onlyDevice(const QString &arguments)
{
    const auto devices = read(arguments).options.settings.devices;
    EXPECT_EQ(devices.size(), 1) << arguments.toStdString();
    return devices.value(0);
}

/** The one row of OSD devices that the arguments ask for. */
OsdSettings onlyGroup(const QString &arguments)
{
    const auto groups = read(arguments).options.settings.osdGroups;
    EXPECT_EQ(groups.size(), 1) << arguments.toStdString();
    return groups.value(0);
}

TEST(SimulatorOptions, TcpDeviceIsOnLoopbackAndTheDefaultPort)
{
    const CommandLine line = read("--model A2");
    ASSERT_EQ(line.options.settings.devices.size(), 1);
    const ListeningDevice device = line.options.settings.devices.first();
    EXPECT_EQ(device.model, biz::rules::Model::OrlixA2);
    EXPECT_EQ(urlOf(device.listen.scheme, device.listen.host, device.listen.port), "tcp://127.0.0.1:15700");
    EXPECT_TRUE(line.options.settings.osdGroups.isEmpty());
}

TEST(SimulatorOptions, EveryModelIsKnownByItsName)
{
    using biz::rules::Model;
    EXPECT_EQ(onlyDevice("--model A1MAX").model, Model::OrlixA1Max);
    EXPECT_EQ(onlyDevice("--model a3").model, Model::OrlixA3);
    EXPECT_EQ(onlyDevice("--model PVN410MAX").model, Model::Pvn410Max);
    EXPECT_EQ(onlyDevice("--model PVN410MAX2").model, Model::Pvn410Max2);
    EXPECT_EQ(onlyDevice("--model K250").model, Model::K250);
    EXPECT_EQ(onlyDevice("--model A5").model, Model::OrlixA5);
}

TEST(SimulatorOptions, PortBelongsToTheOnlyKindOfDeviceThatIsPlayed)
{
    EXPECT_EQ(onlyDevice("--model A2 --port 9000").listen.port, 9000);
    EXPECT_EQ(onlyGroup("--osd 3 --port 9000").port, 9000);
    EXPECT_EQ(onlyGroup("--osd 3").port, 15701);
}

TEST(SimulatorOptions, BothKindsHavePortsOfTheirOwn)
{
    const QString arguments = "--model A2 --osd 5 --port 9000 --osd-port 9001";
    EXPECT_EQ(onlyDevice(arguments).listen.port, 9000);
    EXPECT_EQ(onlyGroup(arguments).port, 9001);
}

TEST(SimulatorOptions, SilentDevicesAreTheLastOnes)
{
    const auto script = onlyGroup("--osd 300 --osd-silent 2").faults.script;
    ASSERT_EQ(script.size(), 2);
    EXPECT_EQ(script.at(0).device, "127.1.1.43");
    EXPECT_EQ(script.at(1).device, "127.1.1.44");
    EXPECT_EQ(script.at(1).fault, FaultKind::Silence);
}

TEST(SimulatorOptions, FaultsAreReadFromOptionsAndScriptInThisOrder)
{
    const biz::test::ScratchFolder folder;
    QFile file(folder.path("script.json"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"faults": [{"reception": 7, "fault": "duplicate"}]})");
    file.close();

    const auto line = read("--model A2 --script script.json --fault 3=silence --fault F1/08=late --late-by 20");
    ASSERT_EQ(line.options.settings.devices.size(), 1);
    const FaultSettings faults = line.options.settings.devices.first().faults;
    const auto script = faults.script;
    ASSERT_EQ(script.size(), 3);
    EXPECT_EQ(script.at(0).reception, 3);
    EXPECT_EQ(script.at(1).code, (CommandCode{0xF1, 0x08}));
    EXPECT_EQ(script.at(2).reception, 7);
    EXPECT_EQ(faults.measures.lateByMs, 20);
}

TEST(SimulatorOptions, AMeasureIsTakenBesideEachFaultThatHasIt)
{
    for (const char *arguments : {"--fault 1=stall --outage-for 20", "--fault-rate blackout=0.1 --outage-for 20",
                                  "--fault F1/08=vanish --vanish-for 20", "--fault-rate burst=0.1 --burst-size 3"}) {
        EXPECT_EQ(problemWith(QStringLiteral("--model A2 ") + arguments), "");
    }
}

TEST(SimulatorOptions, HelpAndVersionAreTexts)
{
    EXPECT_TRUE(read("--help").text.contains("--fault-rate"));
    EXPECT_TRUE(read("--version").text.startsWith("biz_simulator 1."));
}

struct BadUsage
{
    const char *arguments;
    const char *error; ///< a part of the message
};

class BadUsages : public testing::TestWithParam<BadUsage>
{
};

TEST_P(BadUsages, SayWhatWasWrongAndWhatWasExpected)
{
    const QString error = problemWith(GetParam().arguments);
    EXPECT_TRUE(error.contains(GetParam().error)) << error.toStdString();
    EXPECT_TRUE(error.contains(QRegularExpression("xpected|cannot be read"))) << error.toStdString();
    EXPECT_FALSE(error.contains('\n')) << error.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadUsages,
    testing::Values(
        BadUsage{"", "nothing to play"}, BadUsage{"--model A2 --bind \033[2J", "--bind: \"\\x1b[2J\""},
        BadUsage{"--model A2 --listen serial: --one-client", "--one-client: "},
        BadUsage{"--model A2 --outage-for -1", "--outage-for: "}, BadUsage{"--port 0", "nothing to play"},
        BadUsage{"--modell A2", "unknown option '--modell'; did you mean '--model'?"}, BadUsage{"--model", "model"},
        BadUsage{"--model A2 now", "\"now\": unexpected"}, BadUsage{"--model A9", "\"A9\" is no model"},
        BadUsage{"--model A2 --port 65536", "--port: \"65536\""}, BadUsage{"--model A2 --port x", "--port: \"x\""},
        BadUsage{"--model A2 --port -1", "--port: \"-1\""}, BadUsage{"--model A2 --bind here", "--bind: \"here\""},
        BadUsage{"--model A2 --delay 1.5", "--delay: \"1.5\""}, BadUsage{"--model A2 --late-by x", "--late-by: \"x\""},
        BadUsage{"--model A2 --seed -3", "--seed: \"-3\""}, BadUsage{"--model A2 --fault 3", "--fault: \"3\""},
        BadUsage{"--model A2 --fault 0=late", "\"0\": expected a number"},
        BadUsage{"--model A2 --fault 1=slow", "\"slow\" is no fault"},
        BadUsage{"--model A2 --fault-rate late", "\"late\": expected KIND=P"},
        BadUsage{"--model A2 --fault-rate late=1.1", "\"late=1.1\""},
        BadUsage{"--model A2 --fault-rate late=nan", "\"late=nan\""},
        BadUsage{"--model A2 --fault-rate slow=0.1", "\"slow\" is no fault"},
        BadUsage{"--model A2 --script /nowhere/script.json", "/nowhere/script.json"},
        BadUsage{"--model A2 --fault 127.1.0.1=late", "none of the OSD devices"}, BadUsage{"--osd 0", "--osd: \"0\""},
        BadUsage{"--osd 2 --osd-first 10.0.0.1", "--osd-first: \"10.0.0.1\""},
        BadUsage{"--osd 2 --osd-first ::1", "--osd-first: \"::1\""},
        BadUsage{"--osd 2 --osd-first 127.255.255.254", "--osd: \"2\""},
        BadUsage{"--osd 2 --osd-silent 3", "--osd-silent: \"3\""},
        BadUsage{"--osd 2 --osd-silent-list 127.1.0.1,127.1.0.3", "\"127.1.0.3\" is none"},
        BadUsage{"--osd 2 --osd-silent-list 127.1.1", "\"127.1.1\" is none"},
        BadUsage{"--model A2 --osd 2 --osd-silent-list 127.1.0.1,", "--osd-silent-list: an address expected"},
        BadUsage{"--osd 2 --fault 1=silence", "expected --model"}, BadUsage{"--osd 2 --one-client", "--one-client: "},
        BadUsage{"--osd 2 --bind 127.0.0.1", "--bind: expected --model"},
        BadUsage{"--model A2 --osd-first 127.3.0.1", "--osd-first: expected --osd"},
        BadUsage{"--model A2 --osd-port 15800", "--osd-port: expected --osd"},
        BadUsage{"--model A2 --osd-silent 0", "--osd-silent: expected --osd"},
        BadUsage{"--model A2 --osd-silent-list 127.1.0.1", "--osd-silent-list: expected --osd"},
        BadUsage{"--model A2 --late-by 20", "--late-by: expected --fault, --fault-rate or --script with late beside"},
        BadUsage{"--model A2 --fault 1=stall --vanish-for 20", "with vanish beside it"},
        BadUsage{"--model A2 --fault 1=vanish --outage-for 20", "with stall or blackout beside it"},
        BadUsage{"--osd 2 --fault-rate late=0.1 --burst-size 3", "with burst beside it"}));

TEST(SimulatorOptions, ARecordingBringsItsDevice)
{
    const ListeningDevice device = onlyDevice("--from " BIZ_RECORDINGS "/device_faults.jsonl --port 0");
    ASSERT_TRUE(device.recorded);
    EXPECT_EQ(device.recorded->answers.size(), 6);
    EXPECT_EQ(device.model, biz::rules::Model::OrlixA2);
}

TEST(SimulatorOptions, ARecordingBringsItsOsdDevicesAtTheirAddresses)
{
    const OsdSettings group = onlyGroup("--from " BIZ_RECORDINGS "/osd_faults.jsonl");
    EXPECT_EQ(group.count, 4);
    EXPECT_TRUE(group.plays("127.1.0.4"));
    EXPECT_FALSE(group.plays("127.1.0.5"));
    EXPECT_TRUE(group.recordedAddresses.isEmpty());
}

TEST(SimulatorOptions, ARecordingTakesThePlaceOfModelOsdAndDelay)
{
    const QString from = QStringLiteral("--from " BIZ_RECORDINGS "/device_faults.jsonl ");
    for (const char *other : {"--model A2", "--osd 2", "--delay 5"}) {
        EXPECT_TRUE(problemWith(from + QLatin1String(other)).contains("not expected beside --from")) << other;
    }
}

TEST(SimulatorOptions, WhatIsNoRecordingIsRefusedWithItsPlace)
{
    const biz::test::ScratchFolder folder;
    QFile file("session.json");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("{}\n") > 0);
    file.close();
    EXPECT_TRUE(problemWith("--from session.json").contains("session.json:1"))
        << problemWith("--from session.json").toStdString();
    EXPECT_TRUE(problemWith("--from nowhere.jsonl").contains("nowhere.jsonl"));
}

} // namespace
