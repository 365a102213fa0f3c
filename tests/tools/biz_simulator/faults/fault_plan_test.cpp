#include <gtest/gtest.h>

#include <biz_simulator/options/fault_script.h>
#include <common/errors.h>
#include <faults/fault_plan_p.h>

namespace {

using namespace biz::simulator;

constexpr CommandCode readAll{0xF1, 0x08};
constexpr CommandCode readName{0xF1, 0x03};

FaultSettings scripted(const char *json)
{
    FaultSettings settings;
    settings.script = readFaultScript({"script.json", json});
    return settings;
}

QString nameOf(const std::optional<Fault> &fault)
{
    return fault ? faultName(fault->kind) : QStringLiteral("-");
}

/** The names of the faults of the next commands, "-" for none. */
QString nextFaults(FaultPlan &plan, int commands, CommandCode code = readAll)
{
    QStringList names;
    for (int i = 0; i < commands; ++i) {
        names << nameOf(plan.next(code));
    }
    return names.join(QLatin1Char(' '));
}

FaultSettings drawn(quint32 seed)
{
    FaultSettings settings;
    settings.rates = {{FaultKind::Silence, 0.3}, {FaultKind::Duplicate, 0.3}};
    settings.seed = seed;
    return settings;
}

TEST(FaultPlan, WithoutFaultsNothingGoesWrong)
{
    FaultPlan plan{FaultSettings()};
    EXPECT_EQ(nextFaults(plan, 3), "- - -");
    EXPECT_EQ(plan.receptions(), 3);
}

TEST(FaultPlan, EntryByNumberStrikesThatReceptionOnly)
{
    FaultPlan plan(scripted(R"({"faults": [{"reception": 2, "fault": "silence"}]})"));
    EXPECT_EQ(nextFaults(plan, 4), "- silence - -");
}

TEST(FaultPlan, EntryByCodeStrikesEachCommandOfThatCode)
{
    FaultPlan plan(scripted(R"({"faults": [{"command": "F1/03", "fault": "shortPayload"}]})"));
    EXPECT_EQ(nextFaults(plan, 2, readName), "shortPayload shortPayload");
    EXPECT_EQ(nextFaults(plan, 1, readAll), "-");
    EXPECT_EQ(nextFaults(plan, 1, readName), "shortPayload");
}

TEST(FaultPlan, FirstMatchingEntryDecidesUntilItIsUsedUp)
{
    FaultPlan plan(scripted(R"({"faults": [{"command": "F1/08", "times": 2, "fault": "late"},
                                           {"command": "F1/08", "fault": "silence"}]})"));
    EXPECT_EQ(nextFaults(plan, 4), "late late silence silence");
}

TEST(FaultPlan, EntryMayCarryItsOwnLateness)
{
    FaultSettings settings = scripted(R"({"faults": [{"reception": 1, "fault": "late", "lateBy": 900},
                                                     {"reception": 2, "fault": "late"}]})");
    settings.measures.lateByMs = 70;
    FaultPlan plan(settings);
    EXPECT_EQ(plan.next(readAll)->measures.lateByMs, 900);
    EXPECT_EQ(plan.next(readAll)->measures.lateByMs, 70);
}

TEST(FaultPlan, EntriesOfAnOsdDeviceConcernNoOther)
{
    const auto settings = scripted(R"({"faults": [{"device": "127.1.0.3", "fault": "silence"}]})");
    FaultPlan tcp(settings);
    FaultPlan second(settings, "127.1.0.2");
    FaultPlan third(settings, "127.1.0.3");
    EXPECT_EQ(nextFaults(tcp, 1), "-");
    EXPECT_EQ(nextFaults(second, 1), "-");
    EXPECT_EQ(nextFaults(third, 2), "silence silence");
}

TEST(FaultPlan, SameSeedGivesTheSameRun)
{
    FaultPlan first(drawn(42));
    FaultPlan again(drawn(42));
    FaultPlan other(drawn(43));
    const QString run = nextFaults(first, 200);
    EXPECT_EQ(nextFaults(again, 200), run);
    EXPECT_NE(nextFaults(other, 200), run);
}

TEST(FaultPlan, SeedGivesTheSameRunOnEveryPlatform)
{
    // From the definitions of mt19937 and seed_seq, by another program.
    FaultPlan plan(drawn(42));
    EXPECT_EQ(nextFaults(plan, 8), "- - - - silence - duplicate -");
}

TEST(FaultPlan, DevicesDrawIndependently)
{
    FaultPlan second(drawn(42), "127.1.0.2");
    FaultPlan third(drawn(42), "127.1.0.3");
    EXPECT_NE(nextFaults(second, 200), nextFaults(third, 200));
}

TEST(FaultPlan, ScriptDecidesBeforeTheRatesAndLeavesTheirOtherDrawsAlone)
{
    FaultSettings settings = drawn(42);
    FaultPlan plain(settings);
    settings.script = scripted(R"({"faults": [{"reception": 5, "fault": "late"}]})").script;
    FaultPlan withEntry(settings);

    EXPECT_EQ(nextFaults(plain, 5), "- - - - silence");
    EXPECT_EQ(nextFaults(withEntry, 5), "- - - - late");
    EXPECT_EQ(nextFaults(withEntry, 100), nextFaults(plain, 100));
}

TEST(FaultPlan, ProbabilityIsMet)
{
    FaultSettings settings;
    settings.rates = {{FaultKind::Silence, 0.25}};
    FaultPlan plan(settings);
    EXPECT_NEAR(static_cast<double>(nextFaults(plan, 10'000).count("silence")), 2500.0, 200.0);
}

TEST(FaultPlan, ProbabilityOneStrikesAlwaysAndZeroNever)
{
    FaultSettings settings;
    settings.rates = {{FaultKind::Silence, 0.0}, {FaultKind::Duplicate, 1.0}};
    FaultPlan plan(settings);
    EXPECT_EQ(nextFaults(plan, 1000).count("duplicate"), 1000);
}

struct BadScript
{
    const char *json;
    const char *error; ///< a part of the message
};

class BadScripts : public testing::TestWithParam<BadScript>
{
};

TEST_P(BadScripts, AreRefusedWithTheirPlace)
{
    QString error;
    try {
        readFaultScript({"script.json", GetParam().json});
    } catch (const biz::tools::InputError &refusal) {
        error = refusal.text();
    }
    EXPECT_TRUE(error.contains(GetParam().error)) << error.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadScripts,
    testing::Values(
        BadScript{"{\"faults\": [\n{,}\n]}", "script.json:2:2: "}, BadScript{"", "JSON expected"},
        BadScript{"[]", "script.json:1:1: an object expected"}, BadScript{"{}", "faults: an array"},
        BadScript{R"({"faults": 3})", "faults: an array of faults expected, not 3"},
        BadScript{R"({"faults": [7]})", "faults[0]: an object expected, not 7"},
        BadScript{R"({"faults": [{"fault": "slience"}]})", "faults[0].fault: \"slience\" is no fault"},
        BadScript{R"({"faults": [{"fault": "late"}, {}]})", "faults[1].fault: expected one of"},
        BadScript{R"({"faults": [{"reception": 0, "fault": "late"}]})", "reception: a whole number from 1"},
        BadScript{R"({"faults": [{"reception": "1", "fault": "late"}]})", "reception: a whole number from 1"},
        BadScript{R"({"faults": [{"reception": 1.5, "fault": "late"}]})", "reception: a whole number from 1"},
        BadScript{R"({"faults": [{"times": 0, "fault": "late"}]})", "times: a whole number from 1"},
        BadScript{R"({"faults": [{"lateBy": -1, "fault": "late"}]})", "lateBy: a whole number from 0"},
        BadScript{R"({"faults": [{"command": "F1", "fault": "late"}]})", "command: command and sub-code"},
        BadScript{R"({"faults": [{"device": "127.1", "fault": "late"}]})", "device: an address"},
        BadScript{R"({"faults": [{"device": "127.1.0.1", "command": "F1/08", "fault": "late"}]})",
                  "device: no \"command\""},
        BadScript{R"({"faults": [{"recption": 1, "fault": "late"}]})", "faults[0].recption: unknown key"},
        BadScript{R"({"faults": [{"fault": "vanish", "vanishFor": "x"}]})", "vanishFor: a whole number from 0"},
        BadScript{R"({"faults": [{"fault": "burst", "burstSize": 0}]})", "burstSize: a whole number from 1"},
        BadScript{R"({"fault": []})", "fault: unknown key"}));

} // namespace
