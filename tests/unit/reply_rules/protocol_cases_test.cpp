#include <gtest/gtest.h>

#include "reply_builder.h"

// The protocol's telling cases, one by one, with the expected judgement written out.

namespace {

bool accepts(const std::string &model, const ReplyBuilder &asked)
{
    biz_CMDSWork worker;
    return (worker.*checkedModel(model).checker)(asked.record());
}

bool a2(const ReplyBuilder &asked)
{
    return accepts("A2", asked);
}
bool a3(const ReplyBuilder &asked)
{
    return accepts("A3", asked);
}
bool a5(const ReplyBuilder &asked)
{
    return accepts("A5", asked);
}
bool a1max(const ReplyBuilder &asked)
{
    return accepts("A1MAX", asked);
}
bool k250(const ReplyBuilder &asked)
{
    return accepts("K250", asked);
}
bool pvn410max(const ReplyBuilder &asked)
{
    return accepts("PVN410MAX", asked);
}
bool pvn410max2(const ReplyBuilder &asked)
{
    return accepts("PVN410MAX2", asked);
}

TEST(A2, F108WantsAnIndexUpTo15AndExactly354Declared)
{
    EXPECT_TRUE(a2(reply(0xF1, 0x08).index(15).byte4(0x62).byte5(0x01).payload(354)));
    EXPECT_FALSE(a2(reply(0xF1, 0x08).index(16).byte4(0x62).byte5(0x01).payload(354)));
    EXPECT_FALSE(a2(reply(0xF1, 0x08).index(15).declares(353).payload(354)));
}

TEST(A2, AcceptsAPayloadLongerThanDeclaredAndNoOtherDeclaration)
{
    EXPECT_TRUE(a2(reply(0xF1, 0x08).declares(354).payload(355)));
    EXPECT_FALSE(a2(reply(0xF1, 0x08).declares(354).payload(353)));
    EXPECT_FALSE(a2(reply(0xF1, 0x08).declares(355).payload(355)));
    EXPECT_FALSE(a2(reply(0xF1, 0x08).byte4(0x01).byte5(0x62).payload(30000)));
}

TEST(A2, F105WantsExactly129Declared)
{
    DebugLines lines;
    EXPECT_FALSE(a2(reply(0xF1, 0x05).declares(129).payload(128)));
    EXPECT_TRUE(a2(reply(0xF1, 0x05).declares(129).payload(129)));
    EXPECT_FALSE(a2(reply(0xF1, 0x05).declares(130).payload(200)));
}

TEST(A2, F105TakesAnyIndex)
{
    EXPECT_TRUE(a2(reply(0xF1, 0x05).index(0x21).declares(129).payload(129)));
    EXPECT_TRUE(a2(reply(0xF1, 0x05).index(0xFF).declares(129).payload(129)));
}

TEST(A2, 86TakesFFForAllButNo16)
{
    EXPECT_TRUE(a2(reply(0x86, 0x02).index(0xFF)));
    EXPECT_FALSE(a2(reply(0x86, 0x02).index(0x10)));
    EXPECT_TRUE(a2(reply(0x86, 0x10).index(0x10)));
    EXPECT_TRUE(a2(reply(0x86, 0x10).index(0xFE)));
}

TEST(A2, 76RefusesIndexes20To23WhateverTheSubCode)
{
    for (int subCode = 0; subCode <= 0xFF; ++subCode) {
        EXPECT_TRUE(a2(reply(0x76, subCode).index(0x1F)));
        EXPECT_FALSE(a2(reply(0x76, subCode).index(0x20)));
        EXPECT_FALSE(a2(reply(0x76, subCode).index(0x21)));
        EXPECT_FALSE(a2(reply(0x76, subCode).index(0x23)));
        EXPECT_TRUE(a2(reply(0x76, subCode).index(0x24)));
    }
}

TEST(A2, 6828BoundsByte5AndNotTheIndex)
{
    EXPECT_TRUE(a2(reply(0x68, 0x28).index(0x80).byte5(3)));
    EXPECT_FALSE(a2(reply(0x68, 0x28).index(0).byte5(16)));
}

TEST(A2, 7101WantsByte4From1To10)
{
    EXPECT_FALSE(a2(reply(0x71, 0x01).byte4(0)));
    EXPECT_TRUE(a2(reply(0x71, 0x01).byte4(10)));
    EXPECT_FALSE(a2(reply(0x71, 0x01).byte4(11)));
}

TEST(A2, AloneHasARuleForF118)
{
    EXPECT_FALSE(a2(reply(0xF1, 0x18).index(2)));
    EXPECT_TRUE(pvn410max2(reply(0xF1, 0x18).index(2)));
}

TEST(A2, AcceptsAnUnknownCommand)
{
    EXPECT_TRUE(a2(reply(0x55, 0x05).index(0xFF).declares(0xFFFF)));
    EXPECT_TRUE(pvn410max2(reply(0x55, 0x05).index(0xFF).declares(0xFFFF)));
}

TEST(A2, AcceptsTheSubCodesOfF1ThatHaveNoRule)
{
    for (const int subCode :
         {0x01, 0x02, 0x10, 0x13, 0x15, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x22, 0x24, 0x80, 0xFF}) {
        EXPECT_TRUE(a2(reply(0xF1, subCode).index(0x21).declares(0xFFFF))) << subCode;
        EXPECT_TRUE(pvn410max2(reply(0xF1, subCode).index(0x21).declares(0xFFFF))) << subCode;
    }
}

TEST(A3AndA5, 86DifferInTheirHighestIndex)
{
    EXPECT_TRUE(a3(reply(0x86, 0x03).index(7)));
    EXPECT_FALSE(a3(reply(0x86, 0x03).index(8)));
    EXPECT_TRUE(a3(reply(0x86, 0x03).index(0xFF)));
    EXPECT_TRUE(a5(reply(0x86, 0x03).index(31)));
    EXPECT_FALSE(a5(reply(0x86, 0x03).index(32)));
}

TEST(A3AndA5, F104MeasuresThePayloadAgainstTheBoundNotTheDeclaration)
{
    EXPECT_TRUE(a3(reply(0xF1, 0x04).declares(200).payload(9)));
    EXPECT_FALSE(a3(reply(0xF1, 0x04).declares(8).payload(50)));
    EXPECT_TRUE(a5(reply(0xF1, 0x04).declares(200).payload(33)));
    EXPECT_FALSE(a5(reply(0xF1, 0x04).declares(32).payload(50)));
}

TEST(A3AndA5, A5TakesF105With289DeclaredAndNoPayload)
{
    EXPECT_TRUE(a5(reply(0xF1, 0x05).byte4(0x21).byte5(0x01).payload(0)));
    EXPECT_FALSE(a5(reply(0xF1, 0x05).declares(257).payload(256)));
    EXPECT_TRUE(a5(reply(0xF1, 0x05).declares(257).payload(257)));
}

TEST(A3AndA5, A5TakesF108With1457DeclaredAndNoPayload)
{
    EXPECT_TRUE(a5(reply(0xF1, 0x08).index(3).declares(1457).payload(0)));
    EXPECT_FALSE(a5(reply(0xF1, 0x08).index(16).declares(1457).payload(0)));
    EXPECT_FALSE(a5(reply(0xF1, 0x08).index(3).declares(1362).payload(0)));
}

TEST(A3AndA5, F109WantsThePayloadThatItDeclares)
{
    EXPECT_FALSE(a3(reply(0xF1, 0x09).declares(30).payload(29)));
    EXPECT_TRUE(a3(reply(0xF1, 0x09).declares(30).payload(30)));
    EXPECT_TRUE(a3(reply(0xF1, 0x09).declares(29).payload(29)));
    EXPECT_FALSE(a5(reply(0xF1, 0x09).declares(30).payload(29)));
}

TEST(A3AndA5, F118TestsTheIndexBeforeTheLengths)
{
    EXPECT_FALSE(a3(reply(0xF1, 0x18).index(4).declares(25).payload(25)));
    EXPECT_FALSE(a3(reply(0xF1, 0x18).index(4).declares(15).payload(0)));
    EXPECT_TRUE(a3(reply(0xF1, 0x18).index(3).declares(15).payload(0)));
    EXPECT_TRUE(a5(reply(0xF1, 0x18).index(7).declares(25).payload(0)));
    EXPECT_FALSE(a5(reply(0xF1, 0x18).index(7).declares(28).payload(27)));
}

TEST(A3AndA5, HaveNoRulesFor78And79)
{
    for (int subCode = 0; subCode <= 0xFF; ++subCode) {
        EXPECT_TRUE(a3(reply(0x79, subCode).index(0xFF).declares(1)));
        EXPECT_TRUE(a5(reply(0x79, subCode).index(0xFF).declares(1)));
        EXPECT_TRUE(a3(reply(0x78, subCode).index(0xFF)));
        EXPECT_TRUE(a5(reply(0x78, subCode).index(0xFF)));
    }
}

TEST(A3AndA5, 6A0BDiffers)
{
    EXPECT_FALSE(a3(reply(0x6A, 0x0B).index(2)));
    EXPECT_TRUE(a5(reply(0x6A, 0x0B).index(2)));
}

TEST(A3AndA5, AcceptEverySubCodeOfF1Above1A)
{
    for (int subCode = 0x1B; subCode <= 0xFF; ++subCode) {
        EXPECT_TRUE(a3(reply(0xF1, subCode).index(0x40))) << subCode;
        EXPECT_TRUE(a5(reply(0xF1, subCode).index(0x40))) << subCode;
    }
}

TEST(A1MaxAndK250, 7301IsBoundedForA1MaxOnly)
{
    EXPECT_FALSE(a1max(reply(0x73, 0x01).index(2)));
    EXPECT_TRUE(k250(reply(0x73, 0x01).index(2)));
}

TEST(A1MaxAndK250, 7500LeavesAGapAt3)
{
    for (const auto &model : {a1max, k250}) {
        EXPECT_TRUE(model(reply(0x75, 0x00).byte4(2)));
        EXPECT_FALSE(model(reply(0x75, 0x00).byte4(3)));
        EXPECT_TRUE(model(reply(0x75, 0x00).byte4(4)));
        EXPECT_FALSE(model(reply(0x75, 0x00).byte4(5)));
    }
}

TEST(A1MaxAndK250, 7230FailsOnlyWhenAllThreeBytesFail)
{
    for (const auto &model : {a1max, k250}) {
        EXPECT_FALSE(model(reply(0x72, 0x30).index(5)));
        EXPECT_TRUE(model(reply(0x72, 0x30).index(5).byte5(1)));
        EXPECT_TRUE(model(reply(0x72, 0x30).index(5).byte4(2)));
        EXPECT_TRUE(model(reply(0x72, 0x30).index(1)));
        EXPECT_FALSE(model(reply(0x72, 0x30).index(2).byte4(1)));
    }
}

TEST(A1MaxAndK250, 69BoundsListedSubCodesFromBothSides)
{
    for (const auto &model : {a1max, k250}) {
        EXPECT_TRUE(model(reply(0x69, 0x08).index(0)));
        EXPECT_FALSE(model(reply(0x69, 0x07).index(0)));
        EXPECT_TRUE(model(reply(0x69, 0x07).index(3)));
        EXPECT_FALSE(model(reply(0x69, 0x07).index(4)));
    }
}

TEST(A1MaxAndK250, 6B00TakesIndexes0And2)
{
    for (const auto &model : {a1max, k250}) {
        EXPECT_TRUE(model(reply(0x6B, 0x00).index(0)));
        EXPECT_FALSE(model(reply(0x6B, 0x00).index(1)));
        EXPECT_TRUE(model(reply(0x6B, 0x00).index(2)));
        EXPECT_FALSE(model(reply(0x6B, 0x00).index(3)));
    }
}

TEST(ParameterRangeModels, AcceptF1WithAnEmptyPayload)
{
    for (const auto &model : {a1max, k250, pvn410max}) {
        for (int subCode = 0; subCode <= 0xFF; ++subCode) {
            EXPECT_TRUE(model(reply(0xF1, subCode).index(0xFF))) << subCode;
        }
    }
}

TEST(Pvn410Max, 6809WantsBytes3And4From1To22)
{
    EXPECT_TRUE(pvn410max(reply(0x68, 0x09).index(22).byte4(0)));
    EXPECT_FALSE(pvn410max(reply(0x68, 0x09).index(23).byte4(0)));
    EXPECT_FALSE(pvn410max(reply(0x68, 0x09).index(0).byte4(0)));
    EXPECT_FALSE(pvn410max(reply(0x68, 0x09).index(5).byte4(1)));
    EXPECT_TRUE(pvn410max(reply(0x68, 0x08).index(1).byte4(0).byte5(0xFF)));
}

TEST(Pvn410Max, 680AIsAcceptedWhateverTheBytes)
{
    EXPECT_TRUE(pvn410max(reply(0x68, 0x0A)));
    EXPECT_TRUE(pvn410max(reply(0x68, 0x0A).index(0xFF).declares(0xFFFF)));
}

// --- The one debug line ---------------------------------------------------------------

class TheBufferLine : public ::testing::TestWithParam<std::string>
{
};

TEST_P(TheBufferLine, IsWrittenOnceAndPlainForEachFailingReply)
{
    DebugLines lines;
    for (const ReplyBuilder &failing : {reply(0xF1, 0x05).declares(129).payload(128), reply(0xF1, 0x05),
                                        reply(0xF1, 0x05).declares(130).payload(200)}) {
        DebugLines::forget();
        EXPECT_FALSE(accepts(GetParam(), failing));
        EXPECT_EQ(DebugLines::count(), 1);
        EXPECT_EQ(DebugLines::last(), "A2 0xf1, 0x05 buff error!");
    }
}

TEST_P(TheBufferLine, IsNotWrittenForAGoodReplyOrAnyOtherRule)
{
    DebugLines lines;
    EXPECT_TRUE(accepts(GetParam(), reply(0xF1, 0x05).declares(129).payload(129)));
    EXPECT_FALSE(accepts(GetParam(), reply(0xF1, 0x16).declares(129).payload(128)));
    EXPECT_FALSE(accepts(GetParam(), reply(0xF1, 0x08).index(16)));
    EXPECT_TRUE(accepts(GetParam(), reply(0xF0, 0x05)));
    EXPECT_EQ(DebugLines::count(), 0);
}

TEST_P(TheBufferLine, IsWrittenOnceThroughTheDeviceType)
{
    DebugLines lines;
    biz_CMDSWork worker;
    biz_CMDSWork::deviceType = checkedModel(GetParam()).deviceType;
    EXPECT_FALSE(worker.checkRecvData(reply(0xF1, 0x05).record()));
    biz_CMDSWork::deviceType = -1;
    EXPECT_EQ(DebugLines::count(), 1);
    EXPECT_EQ(DebugLines::last(), "A2 0xf1, 0x05 buff error!");
}

TEST_P(TheBufferLine, IsNotWrittenByTheEvaluator)
{
    DebugLines lines;
    EXPECT_FALSE(biz::rules::judge(checkedModel(GetParam()).model, reply(0xF1, 0x05).view()).accepted());
    EXPECT_EQ(DebugLines::count(), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, TheBufferLine, ::testing::Values("A2", "PVN410MAX2"),
                         [](const auto &model) { return model.param; });

TEST(TheBufferLineOfOtherModels, IsNeverWritten)
{
    DebugLines lines;
    EXPECT_FALSE(a3(reply(0xF1, 0x05)));
    EXPECT_FALSE(a5(reply(0xF1, 0x05)));
    EXPECT_TRUE(a1max(reply(0xF1, 0x05)));
    EXPECT_TRUE(k250(reply(0xF1, 0x05)));
    EXPECT_TRUE(pvn410max(reply(0xF1, 0x05)));
    EXPECT_EQ(DebugLines::count(), 0);
}

} // namespace
