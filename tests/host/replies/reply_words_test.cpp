#include <QtCore/QMap>

#include <gtest/gtest.h>

#include <host/reply_words.h>

namespace {

using biz::host::CheckedModel;
using biz::host::judgeReply;
using biz::host::ReplyJudgement;
using biz::host::RuleInWords;
using biz::host::rulesInWords;

constexpr int a2 = 0x1400;
constexpr int a1Max = 0x1700;
constexpr int a3 = 0x1800;
constexpr int pvn410Max = 0x7A40;
constexpr int k250 = 0x3E0100;
constexpr int pvn410Max2 = 0x7A4200;
constexpr int a5 = 0x190000;
constexpr int unchecked = 0x4E00;

/** Bytes 1 to 5 of a reply's head and the number of its payload bytes. */
struct Wire
{
    int command;
    int subCode;
    int index;
    int byte4;
    int byte5;
    int payload;
};

model_Protocoldata replyOf(const Wire &wire)
{
    model_Protocoldata reply;
    int at = 1;
    for (const int value : {wire.command, wire.subCode, wire.index, wire.byte4, wire.byte5}) {
        reply.ucHead[at++] = static_cast<unsigned char>(value);
    }
    reply.baData = QByteArray(wire.payload, 'x');
    return reply;
}

/** A reply whose declared length is a number. */
Wire declaring(int command, int subCode, int index, int declared, int payload)
{
    return {command, subCode, index, declared & 0xFF, declared >> 8, payload};
}

void expectAccepted(int deviceType, const Wire &wire, const char *rule)
{
    const ReplyJudgement judgement = judgeReply(deviceType, replyOf(wire));
    EXPECT_TRUE(judgement.accepted) << rule;
    EXPECT_EQ(judgement.rule, QString::fromLatin1(rule));
    EXPECT_EQ(judgement.broken, QString());
    EXPECT_EQ(judgement.brokenHeadBytes, QVector<int>());
    EXPECT_FALSE(judgement.brokenPayload);
}

/** `headBytes`: those that the failed clause is about; none: the payload. */
void expectBroken(int deviceType, const Wire &wire, const char *broken, const QVector<int> &headBytes)
{
    const ReplyJudgement judgement = judgeReply(deviceType, replyOf(wire));
    EXPECT_FALSE(judgement.accepted) << broken;
    EXPECT_NE(judgement.rule, QString());
    EXPECT_EQ(judgement.broken, QString::fromLatin1(broken));
    EXPECT_EQ(judgement.brokenHeadBytes, headBytes) << broken;
    EXPECT_EQ(judgement.brokenPayload, headBytes.isEmpty()) << broken;
}

} // namespace

TEST(ReplyWords, IndexAtMost)
{
    expectAccepted(a2, {0x68, 0x12, 15, 0, 0, 0}, "index at most 15");
    expectBroken(a2, {0x68, 0x12, 16, 0, 0, 0}, "index is 16, at most 15 allowed", {3});
}

TEST(ReplyWords, IndexAtMostOrAll)
{
    expectAccepted(a2, {0x68, 0x14, 255, 0, 0, 0}, "index at most 15 or 255 (all)");
    expectBroken(a2, {0x68, 0x14, 16, 0, 0, 0}, "index is 16, at most 15 or 255 (all) allowed", {3});
}

TEST(ReplyWords, IndexFromTo)
{
    expectAccepted(a1Max, {0x69, 0x07, 1, 0, 0, 0}, "index from 1 to 3");
    expectBroken(a1Max, {0x69, 0x07, 0, 0, 0, 0}, "index is 0, 1 to 3 allowed", {3});
}

TEST(ReplyWords, IndexNotFromTo)
{
    expectAccepted(a2, {0x76, 0x00, 31, 0, 0, 0}, "index not from 32 to 35");
    expectBroken(a2, {0x76, 0x00, 32, 0, 0, 0}, "index is 32, 32 to 35 not allowed", {3});
}

TEST(ReplyWords, IndexZeroOrTwo)
{
    expectAccepted(a1Max, {0x6B, 0x00, 2, 0, 0, 0}, "index 0 or 2");
    expectBroken(a1Max, {0x6B, 0x00, 1, 0, 0, 0}, "index is 1, must be 0 or 2", {3});
}

TEST(ReplyWords, Byte4AtMost)
{
    expectAccepted(k250, {0x72, 0x00, 0, 7, 0, 0}, "byte 4 at most 7");
    expectBroken(k250, {0x72, 0x00, 0, 8, 0, 0}, "byte 4 is 8, at most 7 allowed", {4});
}

TEST(ReplyWords, Byte4FromTo)
{
    expectAccepted(a2, {0x71, 0x00, 15, 10, 0, 0}, "index at most 15, then byte 4 from 1 to 10");
    expectBroken(a2, {0x71, 0x00, 15, 11, 0, 0}, "byte 4 is 11, 1 to 10 allowed", {4});
    expectBroken(a2, {0x71, 0x00, 16, 11, 0, 0}, "index is 16, at most 15 allowed", {3});
}

TEST(ReplyWords, Byte4AtMostOrIs)
{
    expectAccepted(a1Max, {0x75, 0x00, 0, 4, 0, 0}, "byte 4 at most 2 or 4");
    expectBroken(a1Max, {0x75, 0x00, 0, 3, 0, 0}, "byte 4 is 3, at most 2 or 4 allowed", {4});
}

TEST(ReplyWords, Byte5AtMost)
{
    expectAccepted(a2, {0x68, 0x28, 99, 0, 15, 0}, "byte 5 at most 15");
    expectBroken(a2, {0x68, 0x28, 0, 0, 16, 0}, "byte 5 is 16, at most 15 allowed", {5});
}

TEST(ReplyWords, IndexAtMostUnlessOtherBytesAllowMore)
{
    const char *rule = "index at most 1 unless byte 4 is 2 or byte 5 is not 0";
    expectAccepted(a1Max, {0x72, 0x30, 1, 0, 0, 0}, rule);
    expectAccepted(a1Max, {0x72, 0x30, 9, 2, 0, 0}, rule);
    expectAccepted(a1Max, {0x72, 0x30, 9, 0, 1, 0}, rule);
    expectBroken(a1Max, {0x72, 0x30, 9, 3, 0, 0},
                 "index is 9, at most 1 allowed while byte 4 is 3, not 2, and byte 5 is 0", {3, 4, 5});
}

TEST(ReplyWords, ValueOfBytes3And4)
{
    expectAccepted(pvn410Max, {0x68, 0x08, 22, 0, 0, 0}, "value of bytes 3 and 4 from 1 to 22");
    expectBroken(pvn410Max, {0x68, 0x08, 1, 1, 0, 0}, "value of bytes 3 and 4 is 257, 1 to 22 allowed", {3, 4});
}

TEST(ReplyWords, LengthIs)
{
    expectAccepted(a2, declaring(0xF1, 0x08, 15, 354, 354), "index at most 15, then length 354");
    expectBroken(a2, declaring(0xF1, 0x08, 15, 353, 354), "declared length is 353, must be 354", {4, 5});
    expectBroken(a2, declaring(0xF1, 0x05, 0, 129, 128), "payload holds 128 bytes, needs 129", {});
    expectBroken(a2, declaring(0xF1, 0x08, 16, 353, 0), "index is 16, at most 15 allowed", {3});
}

TEST(ReplyWords, LengthAtLeast)
{
    expectAccepted(a3, declaring(0xF1, 0x04, 0, 5000, 9), "length at least 9");
    expectBroken(a3, declaring(0xF1, 0x04, 0, 8, 9), "declared length is 8, must be at least 9", {4, 5});
    expectBroken(a3, declaring(0xF1, 0x04, 0, 5000, 8), "payload holds 8 bytes, needs 9", {});
}

TEST(ReplyWords, LengthFromTo)
{
    expectAccepted(a3, declaring(0xF1, 0x09, 0, 30, 30), "index at most 15, then length from 29 to 30");
    expectBroken(a3, declaring(0xF1, 0x09, 0, 31, 31), "declared length is 31, must be 29 to 30", {4, 5});
    expectBroken(a3, declaring(0xF1, 0x09, 0, 30, 29), "payload holds 29 bytes, needs 30", {});
}

TEST(ReplyWords, LengthIsOrDeclares)
{
    expectAccepted(a3, declaring(0xF1, 0x18, 0, 15, 0),
                   "index at most 3, then length 25, or declared length 15 with any payload");
    expectBroken(a3, declaring(0xF1, 0x18, 0, 16, 99), "declared length is 16, must be 25 or 15", {4, 5});
    expectBroken(a3, declaring(0xF1, 0x18, 0, 25, 24), "payload holds 24 bytes, needs 25", {});
    expectAccepted(a5, declaring(0xF1, 0x18, 7, 25, 0),
                   "index at most 7, then length 28, or declared length 15 or 25 with any payload");
    expectBroken(a5, declaring(0xF1, 0x18, 7, 16, 99), "declared length is 16, must be 28 or 15 or 25", {4, 5});
}

TEST(ReplyWords, WhereThereIsNoRuleEveryReplyIsAccepted)
{
    for (const int deviceType : {unchecked, -1, pvn410Max}) {
        const ReplyJudgement judgement = judgeReply(deviceType, replyOf(declaring(0xF1, 0x08, 255, 0, 0)));
        EXPECT_TRUE(judgement.accepted);
        EXPECT_EQ(judgement.rule, QString());
        EXPECT_EQ(judgement.broken, QString());
    }
    EXPECT_TRUE(rulesInWords(unchecked).isEmpty());
}

TEST(ReplyWords, TheCheckedModelsAreNamed)
{
    const QMap<int, QString> expected = {
        {a2, QStringLiteral("A2")},     {a1Max, QStringLiteral("A1MAX")},
        {a3, QStringLiteral("A3")},     {pvn410Max, QStringLiteral("PVN410MAX")},
        {k250, QStringLiteral("K250")}, {pvn410Max2, QStringLiteral("PVN410MAX2")},
        {a5, QStringLiteral("A5")},
    };
    QMap<int, QString> named;
    const QVector<CheckedModel> models = biz::host::checkedModels();
    for (const CheckedModel &model : models) {
        named.insert(model.deviceType, model.name);
    }
    EXPECT_EQ(models.size(), expected.size());
    EXPECT_EQ(named, expected);
}

TEST(ReplyWords, RowsNameTheirSubCodesAsPeopleWriteThem)
{
    QMap<int, QString> subCodes;
    const QVector<RuleInWords> rows = rulesInWords(a2);
    for (const RuleInWords &row : rows) {
        subCodes.insert(row.command, row.subCodes);
    }
    EXPECT_EQ(rows.first().subCodes, QStringLiteral("12, 13, 15, 23"));
    EXPECT_EQ(subCodes[0x76], QStringLiteral("00 to FF"));
    EXPECT_EQ(subCodes[0x77], QStringLiteral("21, 23 to 25, 27 to 33, 40 to 43"));
    EXPECT_EQ(subCodes[0x86], QStringLiteral("00 to 0F, 14, 15"));
}

TEST(ReplyWords, AModelsRowsLeaveOutWhatOnlyItsSisterChecks)
{
    EXPECT_EQ(rulesInWords(a1Max).size(), rulesInWords(k250).size() + 1);
    EXPECT_EQ(rulesInWords(a2).size(), rulesInWords(pvn410Max2).size() + 1);
    const QVector<RuleInWords> rows = rulesInWords(k250);
    for (const RuleInWords &row : rows) {
        EXPECT_NE(row.command, 0x73);
    }
}

TEST(ReplyWords, EveryRowSaysTheRuleByWhichItsRepliesAreJudged)
{
    const QVector<CheckedModel> models = biz::host::checkedModels();
    for (const CheckedModel &model : models) {
        const QVector<RuleInWords> rows = rulesInWords(model.deviceType);
        EXPECT_FALSE(rows.isEmpty());
        for (const RuleInWords &row : rows) {
            const int firstSubCode = row.subCodes.left(2).toInt(nullptr, 16);
            const ReplyJudgement judgement =
                judgeReply(model.deviceType, replyOf({row.command, firstSubCode, 0, 0, 0, 0}));
            EXPECT_FALSE(row.rule.isEmpty());
            EXPECT_EQ(judgement.rule, row.rule);
        }
    }
}

TEST(ReplyWords, EveryRejectionSaysWhy)
{
    const QVector<CheckedModel> models = biz::host::checkedModels();
    int rejections = 0;
    for (const CheckedModel &model : models) {
        for (int pair = 0; pair <= 0xFFFF; ++pair) {
            for (const int value : {0, 3, 255}) {
                const ReplyJudgement judgement =
                    judgeReply(model.deviceType, replyOf({pair >> 8, pair & 0xFF, value, value, value, value}));
                ASSERT_EQ(judgement.accepted, judgement.broken.isEmpty()) << "pair " << pair << " value " << value;
                rejections += judgement.accepted ? 0 : 1;
            }
        }
    }
    EXPECT_GT(rejections, 0);
}

TEST(ReplyWords, ACommandIsWrittenAsItsTwoCodes)
{
    EXPECT_EQ(biz::host::commandText(replyOf({0xF1, 0x08, 0, 0, 0, 0})), QStringLiteral("F1/08"));
    EXPECT_EQ(biz::host::commandText(replyOf({0x0A, 0xBC, 0, 0, 0, 0})), QStringLiteral("0A/BC"));
}
