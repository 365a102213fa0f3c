#include <gtest/gtest.h>

#include "reply_builder.h"

// The one line that a checker writes into the debug output.

namespace {

bool accepts(const std::string &model, const ReplyBuilder &asked)
{
    biz_CMDSWork worker;
    return (worker.*checkedModel(model).checker)(asked.record());
}

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
    for (const char *model : {"A3", "A5"}) {
        EXPECT_FALSE(accepts(model, reply(0xF1, 0x05)));
    }
    for (const char *model : {"A1MAX", "K250", "PVN410MAX"}) {
        EXPECT_TRUE(accepts(model, reply(0xF1, 0x05)));
    }
    EXPECT_EQ(DebugLines::count(), 0);
}

} // namespace
