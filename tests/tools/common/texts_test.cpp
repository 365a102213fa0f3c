#include <gtest/gtest.h>

#include <common/errors.h>
#include <common/shown_text.h>
#include <common/suggestion.h>

using namespace biz::tools;

namespace {

TEST(ShownText, KeepsLettersOfAllLanguages)
{
    const QString text = QString::fromUtf8("Größe 大小 1/2 \\ \"\xF0\x9F\x98\x80\"");
    EXPECT_EQ(shownText(text), text);
}

TEST(ShownText, WritesOutWhatTerminalsObey)
{
    EXPECT_EQ(shownText("a\x1b[2Jb\r\n\tc\x7f"), "a\\x1b[2Jb\\x0d\\x0a\\x09c\\x7f");
    EXPECT_EQ(shownText(QString(QChar(0x9b)) + "31m"), "\\x9b31m");
}

TEST(ShownText, WritesOutWhatTurnsTheDirectionOfWriting)
{
    EXPECT_EQ(shownText(QString(QChar(0x202e)) + "cod.exe"), "\\u202ecod.exe");
    EXPECT_EQ(shownText(QString(QChar(0x2028))), "\\u2028");
}

TEST(ShownText, ErrorsShowWhatTheyQuote)
{
    EXPECT_EQ(InputError("a\x1b[2Jb").text(), "a\\x1b[2Jb");
    EXPECT_EQ(UsageError("a\nb").text(), "a\\x0ab");
    EXPECT_EQ(InputError(QString(QChar(u'\0')) + "name", "unknown").text(), "\\x00name: unknown");
    EXPECT_EQ(InputError(QStringList{"one", "two"}).problems(), (QStringList{"one", "two"}));
}

TEST(Suggestions, NameTheWordThatWasMeant)
{
    const QStringList verbs{"run", "send", "osd", "replay", "log"};
    EXPECT_EQ(closestTo("rnu", verbs), "run");
    EXPECT_EQ(closestTo("sned", verbs), "send");
    EXPECT_EQ(closestTo("replya", verbs), "replay");
    EXPECT_EQ(closestTo("OSD", verbs), "osd");
}

TEST(Suggestions, NameNothingThatIsNotLikeIt)
{
    EXPECT_EQ(closestTo("fly", {"run", "send"}), "");
    EXPECT_EQ(closestTo("A9", {"A2", "A3"}), "");
    EXPECT_EQ(closestTo("", {"run"}), "");
    EXPECT_EQ(closestTo(QString(100'000, 'x'), {"run"}), "");
}

} // namespace
