#include <algorithm>

#include <gtest/gtest.h>

#include "reply_builder.h"

// The internal interface of the rules: which rule stands, and which clause a reply broke.

namespace {

using namespace biz::rules;

bool isSame(const Clause &left, const Clause &right)
{
    const auto sameBounds = [](const Bounds &one, const Bounds &other) {
        return one.number == other.number && one.from == other.from && one.to == other.to;
    };
    return std::equal(left.anyOf.begin(), left.anyOf.end(), right.anyOf.begin(), sameBounds) &&
           left.payloadUpTo == right.payloadUpTo;
}

const Rule &ruleFor(Model model, int command, int subCode)
{
    return rulesOf(model).ruleFor(static_cast<std::uint8_t>(command), static_cast<std::uint8_t>(subCode));
}

const Clause *broken(const std::string &model, const ReplyBuilder &asked)
{
    return judge(checkedModel(model).model, asked.view()).broken;
}

#define EXPECT_BREAKS(clause, model, asked)                                                                            \
    do {                                                                                                               \
        const Clause *found = broken(model, asked);                                                                    \
        ASSERT_NE(found, nullptr);                                                                                     \
        EXPECT_TRUE(isSame(*found, clause));                                                                           \
    } while (false)

TEST(RuleFor, StandsForExactlyThePairsThatTheListingsName)
{
    for (const CheckedModel &model : checkedModels()) {
        for (int pair = 0; pair <= 0xFFFF; ++pair) {
            const int command = pair / 256;
            const int subCode = pair % 256;
            ASSERT_EQ(ruleFor(model.model, command, subCode).empty(), model.rules().find(command, subCode) == nullptr)
                << wireForm(model.name, command, subCode, {}, false);
        }
    }
}

TEST(RuleFor, NamesTheClausesInTheOrderOfTheirTests)
{
    const Rule &rule = ruleFor(Model::OrlixA2, 0xF1, 0x08);
    ASSERT_EQ(rule.end() - rule.begin(), 2);
    EXPECT_TRUE(isSame(rule.begin()[0], indexAtMost(15)));
    EXPECT_TRUE(isSame(rule.begin()[1], lengthIs(354)));
}

TEST(RuleFor, HasNoRuleForF118OfPvn410Max2)
{
    EXPECT_FALSE(ruleFor(Model::OrlixA2, 0xF1, 0x18).empty());
    EXPECT_TRUE(ruleFor(Model::Pvn410Max2, 0xF1, 0x18).empty());
}

TEST(Judge, NamesTheFirstBrokenClause)
{
    EXPECT_BREAKS(indexAtMost(15), "A2", reply(0xF1, 0x08).index(16).declares(354).payload(354));
    EXPECT_BREAKS(indexAtMost(15), "A2", reply(0xF1, 0x08).index(16).declares(0));
    EXPECT_BREAKS(lengthIs(354), "A2", reply(0xF1, 0x08).index(15).declares(353).payload(354));
    EXPECT_BREAKS(byte5AtMost(15), "A2", reply(0x68, 0x28).byte5(16));
    EXPECT_BREAKS(byte4FromTo(1, 10), "A2", reply(0x71, 0x00).byte4(11));
    EXPECT_BREAKS(indexNotFromTo(0x20, 0x23), "A3", reply(0x76, 0x99).index(0x20));
    EXPECT_BREAKS(lengthAtLeast(9), "A3", reply(0xF1, 0x04).declares(9).payload(8));
    EXPECT_BREAKS(lengthFromTo(29, 30), "A5", reply(0xF1, 0x09).declares(31).payload(31));
    EXPECT_BREAKS(lengthIsOrDeclares(28, 15, 25), "A5", reply(0xF1, 0x18).declares(28).payload(27));
    EXPECT_BREAKS(indexAtMostOrAll(31), "A5", reply(0xF1, 0x0F).index(32).declares(28).payload(28));
    EXPECT_BREAKS(indexFromTo(1, 3), "K250", reply(0x69, 0x07));
    EXPECT_BREAKS(indexZeroOrTwo(), "K250", reply(0x6B, 0x00).index(3));
    EXPECT_BREAKS(byte4AtMost(7), "A1MAX", reply(0x72, 0x00).byte4(8));
    EXPECT_BREAKS(byte4AtMostOrIs(2, 4), "A1MAX", reply(0x75, 0x01).byte4(3));
    EXPECT_BREAKS(indexAtMostOrByte4IsOrByte5Set(1, 2), "A1MAX", reply(0x72, 0x31).index(2));
    EXPECT_BREAKS(bytes34FromTo(1, 22), "PVN410MAX", reply(0x68, 0x08));
}

TEST(Judge, PointsIntoTheRuleThatStands)
{
    const Verdict verdict = judge(Model::OrlixA2, reply(0xF1, 0x08).declares(353).view());
    EXPECT_EQ(&verdict.rule, &ruleFor(Model::OrlixA2, 0xF1, 0x08));
    EXPECT_EQ(verdict.broken, verdict.rule.begin() + 1);
    EXPECT_FALSE(verdict.accepted());
}

TEST(Judge, NamesTheRuleOfAGoodReplyToo)
{
    const Verdict verdict = judge(Model::OrlixA2, reply(0xF1, 0x08).declares(354).payload(354).view());
    EXPECT_EQ(&verdict.rule, &ruleFor(Model::OrlixA2, 0xF1, 0x08));
    EXPECT_EQ(verdict.broken, nullptr);
    EXPECT_TRUE(verdict.accepted());
}

TEST(Judge, AcceptsWithoutARule)
{
    const Verdict verdict = judge(Model::OrlixA2, reply(0x55, 0x00).index(0xFF).view());
    EXPECT_TRUE(verdict.rule.empty());
    EXPECT_EQ(verdict.broken, nullptr);
    EXPECT_TRUE(verdict.accepted());
}

TEST(ModelOfDeviceType, KnowsTheCodesOfTheModelsOnly)
{
    for (const CheckedModel &model : checkedModels()) {
        EXPECT_EQ(modelOfDeviceType(model.deviceType), model.model) << model.name;
        EXPECT_EQ(modelOfDeviceType(model.deviceType + 1), std::nullopt) << model.name;
    }
    EXPECT_EQ(modelOfDeviceType(-1), std::nullopt);
    EXPECT_EQ(modelOfDeviceType(0), std::nullopt);
}

// The index in front of a table is only a short cut.
TEST(Tables, FindTheRowThatNamesTheSubCode)
{
    for (const ModelRules &model : modelRules) {
        const Table *const table = model.table;
        for (int pair = 0; pair <= 0xFFFF; ++pair) {
            const Row *named = std::find_if(table->begin(), table->end(), [pair](const Row &row) {
                return row.command == pair / 256 && row.subCodes.contains(pair % 256);
            });
            const Row &found =
                table->rowOf(static_cast<std::uint8_t>(pair / 256), static_cast<std::uint8_t>(pair % 256));
            if (named != table->end()) {
                ASSERT_EQ(&found, named) << std::hex << pair;
            } else {
                ASSERT_TRUE(found.rules[0].empty() && found.rules[1].empty()) << std::hex << pair;
            }
        }
    }
}

constexpr std::array sameCodeTwice = {
    Row{0x68, codes(0x12, 0x13), indexAtMost(15)},
    Row{0x69, codes(0x12), indexAtMost(15)},
    Row{0x68, codesFromTo(0x13, 0x15), indexAtMost(15)},
};
static_assert(!noSubCodeTwice(sameCodeTwice));

constexpr std::array sameCodeOfTwoCommands = {
    Row{0x68, codes(0x12), indexAtMost(15)},
    Row{0x69, codes(0x12), indexAtMost(15)},
    Row{0x68, codes(0xFF), indexAtMost(15)},
};
static_assert(noSubCodeTwice(sameCodeOfTwoCommands));

} // namespace
