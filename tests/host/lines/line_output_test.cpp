#include <lines/line_output_p.h>

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <host/lines/pipe_ends.h>
#include <host/support/wait_for.h>

namespace {

using biz::host::LineOutput;
using biz::test::PipeEnds;
using biz::test::waitFor;

class LineOutputTest : public testing::Test
{
protected:
    /** More than a pipe holds. */
    static QByteArray longLine() { return QByteArray(LineOutput::fullAt + 100'000, 'x') + '\n'; }

    PipeEnds pipe;
    LineOutput output{pipe.writeEnd()};
};

} // namespace

TEST_F(LineOutputTest, ALineLeavesWithinTheCall)
{
    output.write("a line\n");
    EXPECT_TRUE(output.hasLeft());
    EXPECT_EQ(pipe.readAll(), "a line\n");
}

TEST_F(LineOutputTest, WithoutAReaderACallReturnsAndTheOutputGetsFull)
{
    output.write(longLine());
    EXPECT_FALSE(output.hasLeft());
    EXPECT_TRUE(output.isFull());
}

TEST_F(LineOutputTest, HeldLinesLeaveInTheirOrderWhenTheyAreRead)
{
    output.write(longLine());
    output.write("last\n");
    QByteArray all;
    EXPECT_TRUE(waitFor([&] {
        all += pipe.readAll();
        return output.hasLeft() && all.endsWith("last\n");
    }));
    EXPECT_EQ(all, longLine() + "last\n");
}

TEST_F(LineOutputTest, TellsOnceWhenWhatWasHeldHasLeft)
{
    int times = 0;
    QObject::connect(&output, &LineOutput::left, &output, [&times] { ++times; });
    output.write(longLine());
    EXPECT_TRUE(waitFor([&] {
        pipe.readAll();
        return output.hasLeft();
    }));
    EXPECT_EQ(times, 1);
}

TEST_F(LineOutputTest, AReaderThatHasGoneIsToldAndNothingIsHeldForIt)
{
    bool isTold = false;
    QObject::connect(&output, &LineOutput::gone, &output, [&isTold] { isTold = true; });
    pipe.closeRead();
    output.write("a line\n");
    EXPECT_TRUE(isTold);
    EXPECT_FALSE(output.hasFailed());
    output.write(longLine());
    EXPECT_FALSE(output.isFull());
}

TEST(LineOutputOfAFullDisk, IsGoneAndHasFailed)
{
    QFile full(QStringLiteral("/dev/full"));
    ASSERT_TRUE(full.open(QIODevice::WriteOnly));
    LineOutput output(full.handle());
    output.write("a line\n");
    EXPECT_TRUE(output.isGone());
    EXPECT_TRUE(output.hasFailed());
}
