#include <gtest/gtest.h>

#include <biz_console/recording/last_part.h>

using namespace biz::console;

namespace {

constexpr int maxBytes = 4000;

/** A run of so many commands, one after the other, of which all wait from the start. */
void recordRun(LastPart &part, int commands, bool overlapping = false)
{
    part.write("{\"event\":\"recording\",\"format\":2}\n");
    const auto tell = [&part](const char *event, int ticket) {
        part.write(QString("{\"event\":\"%1\",\"ticket\":%2}\n").arg(event).arg(ticket).toUtf8());
    };
    for (int ticket = 1; ticket <= commands; ++ticket) {
        tell("given", ticket);
    }
    part.write("{\"event\":\"opened\"}\n");
    for (int ticket = 1; ticket <= commands; ++ticket) {
        tell("writing", ticket);
        tell("sent", ticket);
        if (overlapping && ticket > 1) {
            tell("answered", ticket - 1);
        } else if (!overlapping) {
            tell("answered", ticket);
        }
    }
}

TEST(LastPart, OfAShortRunIsTheWholeRecording)
{
    LastPart part(maxBytes);
    recordRun(part, 2);
    const QByteArray recording = part.recording();
    EXPECT_EQ(recording.count('\n'), 10);
    EXPECT_FALSE(recording.contains("part"));
}

TEST(LastPart, OfALongRunIsBoundedAndBeginsBetweenTwoCommands)
{
    LastPart part(maxBytes);
    recordRun(part, 300);
    const QList<QByteArray> lines = part.recording().trimmed().split('\n');
    EXPECT_TRUE(lines.first().contains("\"part\":true")) << lines.first().constData();
    EXPECT_TRUE(lines.first().contains("\"amidCommands\":false"));
    EXPECT_TRUE(lines.value(1).contains("opened"));
    EXPECT_TRUE(lines.value(2).contains("given"));
    EXPECT_TRUE(lines.last().contains("\"ticket\":300"));
    // The first that is given is the first that is sent.
    const QByteArray firstSent = QByteArray(lines.value(2)).replace("given", "sent");
    EXPECT_TRUE(lines.contains(firstSent));
    EXPECT_LT(part.recording().size(), 2 * maxBytes);
}

TEST(LastPart, OfARunThatIsNeverQuietSaysSo)
{
    LastPart part(maxBytes);
    recordRun(part, 300, true);
    EXPECT_TRUE(part.recording().contains("\"amidCommands\":true"));
    EXPECT_LT(part.recording().size(), 2 * maxBytes);
}

} // namespace
