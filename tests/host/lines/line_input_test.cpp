#include <lines/line_input_p.h>

#include <vector>

#include <gtest/gtest.h>

#include <host/lines/pipe_ends.h>
#include <host/support/wait_for.h>

namespace {

using biz::host::InputLine;
using biz::host::LineInput;
using biz::test::PipeEnds;
using biz::test::waitFor;

class LineInputTest : public testing::Test
{
protected:
    LineInputTest()
    {
        QObject::connect(&input, &LineInput::line, &input,
                         [this](const InputLine &line) { lines.push_back(line.text); });
        QObject::connect(&input, &LineInput::ended, &input, [this] { ++ends; });
    }

    /** Lets everything happen that is due now. */
    static void passEvents()
    {
        for (int pass = 0; pass < 3; ++pass) {
            QCoreApplication::processEvents();
        }
    }

    PipeEnds pipe;
    LineInput input{pipe.readEnd()};
    std::vector<QByteArray> lines;
    int ends = 0;
};

} // namespace

TEST_F(LineInputTest, LinesAreToldAsTheyCome)
{
    pipe.write("one\ntwo\nthr");
    EXPECT_TRUE(waitFor([this] { return lines.size() == 2; }));
    pipe.write("ee\n");
    EXPECT_TRUE(waitFor([this] { return lines.size() == 3; }));
    EXPECT_EQ(lines.back(), "three");
}

TEST_F(LineInputTest, TheEndIsToldAfterTheLastLine)
{
    pipe.write("one\nlast");
    pipe.closeWrite();
    EXPECT_TRUE(waitFor([this] { return ends == 1; }));
    EXPECT_EQ(lines, (std::vector<QByteArray>{"one", "last"}));
}

TEST_F(LineInputTest, WhilePausedNothingIsTaken)
{
    input.setPaused(true);
    pipe.write("one\n");
    passEvents();
    EXPECT_TRUE(lines.empty());

    input.setPaused(false);
    EXPECT_TRUE(waitFor([this] { return lines.size() == 1; }));
}

TEST_F(LineInputTest, TheEndIsToldAlsoWhilePaused)
{
    input.setPaused(true);
    pipe.write("one\n");
    pipe.closeWrite();
    EXPECT_TRUE(waitFor([this] { return ends == 1; }));
    EXPECT_TRUE(lines.empty());
}

TEST_F(LineInputTest, AfterAStopTheRestOfWhatWasReadIsNotTold)
{
    QObject::connect(&input, &LineInput::line, &input, [this] { input.stop(); });
    pipe.write("one\ntwo\n");
    EXPECT_TRUE(waitFor([this] { return !lines.empty(); }));
    passEvents();
    EXPECT_EQ(lines.size(), 1U);
    EXPECT_EQ(ends, 0);
}
