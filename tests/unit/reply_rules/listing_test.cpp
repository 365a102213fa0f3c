#include <filesystem>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include "checked_models.h"
#include "sweep.h"

// The rules of the library against the hand-typed listings of tests/data.

namespace {

using listing::Listing;

std::string nameOf(const ::testing::TestParamInfo<CheckedModel> &info)
{
    return info.param.name;
}

class Replies : public ::testing::TestWithParam<CheckedModel>
{
protected:
    Subject checker()
    {
        return {[this](const model_Protocoldata &reply) { return (m_worker.*GetParam().checker)(reply); }, true};
    }

    /** Goes by the device type, which the fixture sets and restores. */
    Subject dispatch()
    {
        return {[this](const model_Protocoldata &reply) { return m_worker.checkRecvData(reply); }, true};
    }

    /** The rules without the library's classes around them. */
    Subject evaluator()
    {
        return {[](const model_Protocoldata &reply) {
                    const unsigned char *head = reply.ucHead;
                    return biz::rules::judge(GetParam().model, {head[1], head[2], head[3], head[4], head[5],
                                                                static_cast<int>(reply.baData.size())})
                        .accepted();
                },
                false};
    }

    void SetUp() override { biz_CMDSWork::deviceType = GetParam().deviceType; }
    void TearDown() override { biz_CMDSWork::deviceType = -1; }

private:
    biz_CMDSWork m_worker;
};

TEST_P(Replies, WithARuleAreJudgedAsListedOnBothSidesOfEveryLimit)
{
    Sweep sweep(GetParam(), checker());
    sweep.pairsWithLine(Depth::EveryByte);
    EXPECT_EQ(sweep.disagreement(), "");
    EXPECT_EQ(sweep.lineSeenFromOneSideOnly(), "");
    RecordProperty("replies", std::to_string(sweep.replies()));
}

TEST_P(Replies, AreJudgedAsListedWhateverLengthTheyDeclare)
{
    Sweep sweep(GetParam(), checker());
    sweep.everyDeclaredLength();
    EXPECT_EQ(sweep.disagreement(), "");
}

TEST_P(Replies, WithoutARuleAreAcceptedHoweverExtreme)
{
    Sweep sweep(GetParam(), checker());
    sweep.pairsWithoutLine();
    EXPECT_EQ(sweep.disagreement(), "");
    EXPECT_GT(sweep.replies(), 32 * 65000);
}

TEST_P(Replies, ReachTheirModelsRulesThroughTheDeviceType)
{
    Sweep sweep(GetParam(), dispatch());
    sweep.pairsWithLine(Depth::Limits);
    sweep.pairsWithoutLine();
    EXPECT_EQ(sweep.disagreement(), "");
    EXPECT_EQ(sweep.lineSeenFromOneSideOnly(), "");
}

TEST_P(Replies, AreJudgedAlikeAndSilentlyByTheEvaluatorAlone)
{
    Sweep sweep(GetParam(), evaluator());
    sweep.pairsWithLine(Depth::Limits);
    sweep.everyDeclaredLength();
    sweep.pairsWithoutLine();
    EXPECT_EQ(sweep.disagreement(), "");
    EXPECT_EQ(sweep.lineSeenFromOneSideOnly(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, Replies, ::testing::ValuesIn(checkedModels()), nameOf);

TEST(CheckedModels, AreThoseOfTheLibrary)
{
    ASSERT_EQ(checkedModels().size(), biz::rules::modelRules.size());
    for (const biz::rules::ModelRules &row : biz::rules::modelRules) {
        const CheckedModel &model = checkedModel(row.name);
        EXPECT_EQ(model.model, row.model) << row.name;
        EXPECT_EQ(model.deviceType, row.deviceType) << row.name;
    }
}

TEST(Listings, AreAllReadByTheSweeps)
{
    std::set<std::string> read;
    for (const CheckedModel &model : checkedModels()) {
        read.insert(model.file);
    }
    std::set<std::string> present;
    for (const auto &entry : std::filesystem::directory_iterator(dataFile(""))) {
        if (entry.path().extension() == ".tsv") {
            present.insert(entry.path().filename());
        }
    }
    EXPECT_EQ(present, read);
}

TEST(SweepReports, TheFirstDisagreementInWireForm)
{
    const CheckedModel &a2 = checkedModel("A2");
    Sweep sweep(a2, {[](const model_Protocoldata &reply) {
                         return reply.ucHead[1] == 0xF1 && reply.ucHead[2] == 0x08 && reply.ucHead[3] == 16 &&
                                reply.ucHead[4] == 0x62 && reply.ucHead[5] == 0x01 && reply.baData.size() == 354;
                     },
                     false});
    sweep.pairsWithLine(Depth::Limits);
    const std::string expected =
        "A2 68/12 index 0, byte 4 0, byte 5 0, payload 0: expected accepted, by reply_rules_a2.tsv:";
    EXPECT_EQ(sweep.disagreement().substr(0, expected.size()), expected);
    EXPECT_EQ(wireForm("A2", 0xF1, 0x08, {16, 0x62, 0x01, 354}, true), "A2 F1/08 index 16, declared 354, payload 354");
}

TEST(SweepReports, ADebugLineThatIsMissingAndOneTooMany)
{
    const CheckedModel &a2 = checkedModel("A2");
    biz_CMDSWork worker;
    const auto checker = [&worker](const model_Protocoldata &reply) {
        return worker.checkRecvData_ORLIX_A2(reply);
    };

    Sweep mute(a2, {checker, false});
    mute.pairsWithLine(Depth::Limits);
    EXPECT_NE(mute.disagreement().find("A2 F1/05"), std::string::npos) << mute.disagreement();
    EXPECT_NE(mute.disagreement().find("debug lines written: 1"), std::string::npos) << mute.disagreement();
}

TEST(SweepReports, ALineThatWasNeverBroken)
{
    const CheckedModel &k250 = checkedModel("K250");
    Sweep sweep(k250, {[](const model_Protocoldata &) { return true; }, false});
    sweep.pairsWithoutLine();
    EXPECT_NE(sweep.lineSeenFromOneSideOnly(), "");
}

TEST(AListing, RefusesWhatItDoesNotKnow)
{
    for (const char *line : {"68\t12\tb3 0..15", "168\t12\tb3 0\t-", "68\t\tb3 0\t-", "68\tXY\tb3 0\t-",
                             "68\t12\tb6 0..15\t-", "68\t12\tb3 15..0\t-", "68\t12\tb3 0..256\t-", "68\t12\tlen 5\t-",
                             "68\t12\tb3\t-", "68\t12 13 12\tb3 0\t-"}) {
        EXPECT_THROW(Listing::parse("listing", line), std::runtime_error) << line;
    }
    EXPECT_NO_THROW(Listing::parse("listing", "# comment\n\n68\t12 13\tb3 0..15\t-\n"));
}

TEST(AListing, NamesTheLineThatItRefuses)
{
    try {
        Listing::parse("listing", "# comment\n68\t12\tb3 0\t-\n68\t10-12\tb3 0\t-\n");
        ADD_FAILURE() << "accepted";
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "listing:3: a sub-code that line 2 has already");
    }
}

TEST(AListing, ReadsSpansAlternativesAndTheDebugLine)
{
    const Listing rules = Listing::parse("listing", "F1\t05 10-12\tb3 1..2 or b3 255; len 9 data 8\tIt says so!\n");
    ASSERT_EQ(rules.lines().size(), 1U);
    EXPECT_EQ(rules.lines().front().subCodes, (std::vector<int>{0x05, 0x10, 0x11, 0x12}));
    EXPECT_EQ(rules.lines().front().says, "It says so!");
    EXPECT_EQ(rules.find(0xF1, 0x13), nullptr);

    const listing::Line *line = rules.find(0xF1, 0x11);
    ASSERT_NE(line, nullptr);
    EXPECT_TRUE(line->accepts({255, 9, 0, 8}));
    EXPECT_TRUE(line->accepts({2, 9, 0, 9}));
    EXPECT_FALSE(line->accepts({3, 9, 0, 9}));
    EXPECT_FALSE(line->accepts({2, 9, 0, 7}));
    EXPECT_FALSE(line->accepts({2, 9, 1, 9}));
}

} // namespace
