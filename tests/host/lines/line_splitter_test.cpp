#include <lines/line_splitter_p.h>

#include <vector>

#include <gtest/gtest.h>

namespace {

using biz::host::InputLine;
using biz::host::LineSplitter;

class LineSplitterTest : public testing::Test
{
protected:
    void add(const QByteArray &bytes) { m_splitter.add(bytes, take()); }
    void finish() { m_splitter.finish(take()); }
    LineSplitter::Take take()
    {
        return [this](const InputLine &line) {
            lines.push_back(line);
        };
    }

    static QByteArray longestLine() { return QByteArray(LineSplitter::longestLine, 'x'); }

    std::vector<InputLine> lines;

private:
    LineSplitter m_splitter;
};

} // namespace

TEST_F(LineSplitterTest, ALineIsToldWhenItsEndHasCome)
{
    add("one");
    EXPECT_TRUE(lines.empty());
    add(" line\n");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "one line");
}

TEST_F(LineSplitterTest, LinesAreCountedFromOneEmptyOnesIncluded)
{
    add("a\n\nb\n");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].number, 1);
    EXPECT_EQ(lines[2].number, 3);
    EXPECT_EQ(lines[2].text, "b");
}

TEST_F(LineSplitterTest, TheEndOfTheInputEndsTheLastLine)
{
    add("a\nlast");
    finish();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].text, "last");
}

TEST_F(LineSplitterTest, TheEndOfTheInputBehindALineEndIsNoLine)
{
    add("a\n");
    finish();
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(LineSplitterTest, TheLongestLineIsTaken)
{
    add(longestLine() + '\n');
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_FALSE(lines[0].isTooLong);
    EXPECT_EQ(lines[0].text.size(), LineSplitter::longestLine);
}

TEST_F(LineSplitterTest, ALongerLineIsToldOnceBeforeItEndsAndTheNextOneIsTaken)
{
    add(longestLine());
    EXPECT_TRUE(lines.empty());
    add("x");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].isTooLong);
    EXPECT_EQ(lines[0].number, 1);

    add(longestLine() + longestLine() + "\nnext\n");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].text, "next");
    EXPECT_EQ(lines[1].number, 2);
}
