#include "link_journal.h"

namespace {

using namespace biz::test;
using biz::host::makeLink;

const QString anyForm = QStringLiteral("; expected tcp://HOST[:PORT], udp://HOST[:PORT] or "
                                       "serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none]");

} // namespace

TEST(MakeLink, AUrlNamesHostAndPort)
{
    EXPECT_EQ(nameFor("tcp://127.0.0.1:1234"), QStringLiteral("tcp://127.0.0.1:1234"));
    EXPECT_EQ(nameFor("tcp://127.0.0.1"), QStringLiteral("tcp://127.0.0.1:15700"));
    EXPECT_EQ(nameFor("TCP://localhost:65535/"), QStringLiteral("tcp://localhost:65535"));
    EXPECT_EQ(nameFor("tcp://[::1]:1"), QStringLiteral("tcp://[::1]:1"));
}

TEST(MakeLink, AUrlThatNamesNoLinkIsExplained)
{
    EXPECT_EQ(complaintAbout(""), QStringLiteral("the link's URL is empty") + anyForm);
    EXPECT_EQ(complaintAbout("http://127.0.0.1:1"),
              QStringLiteral("\"http://127.0.0.1:1\": there is no link of scheme \"http\"") + anyForm);
    EXPECT_EQ(complaintAbout("tcp://:15700"), QStringLiteral("\"tcp://:15700\" names no host; expected "
                                                             "tcp://HOST[:PORT]"));
    EXPECT_EQ(complaintAbout("tcp://127.0.0.1:0"),
              QStringLiteral("\"tcp://127.0.0.1:0\": port is 0, 1 to 65535 allowed; expected tcp://HOST[:PORT]"));
    EXPECT_EQ(complaintAbout("tcp://me@127.0.0.1"), QStringLiteral("\"tcp://me@127.0.0.1\": a TCP link takes no user "
                                                                   "name; expected tcp://HOST[:PORT]"));
    EXPECT_EQ(complaintAbout("tcp://127.0.0.1/dev"),
              QStringLiteral("\"tcp://127.0.0.1/dev\": a TCP link takes no path, but has \"/dev\"; expected "
                             "tcp://HOST[:PORT]"));
    EXPECT_EQ(complaintAbout("tcp://127.0.0.1?baud=1"),
              QStringLiteral("\"tcp://127.0.0.1?baud=1\": a TCP link takes no query and no fragment; expected "
                             "tcp://HOST[:PORT]"));
}

TEST(MakeLink, ANetworkLinkTakesNoFragment)
{
    EXPECT_EQ(complaintAbout("udp://127.0.0.1#1"),
              QStringLiteral("\"udp://127.0.0.1#1\": a UDP link takes no query and no fragment; expected "
                             "udp://HOST[:PORT]"));
}

TEST(MakeLink, AUrlThatCannotBeParsedIsQuotedWithoutItsParts)
{
    EXPECT_EQ(complaintAbout("tcp://127.0.0.1:99999"),
              QStringLiteral("\"tcp://127.0.0.1:99999\": Invalid port or port number out of range; expected "
                             "tcp://HOST[:PORT]"));
}

TEST(MakeLink, AHostWithoutASchemeIsToldWhatAUrlLooksLike)
{
    for (const char *const typed :
         {"127.0.0.1:15700", "device.local:15700", "localhost:15700", "127.0.0.1", "[::1]:15700", "/dev/ttyUSB0"}) {
        EXPECT_EQ(complaintAbout(typed), QStringLiteral("\"%1\" has no scheme").arg(QLatin1String(typed)) + anyForm);
    }
}

TEST(MakeLink, NobodyNeedsToAskWhatWasWrong)
{
    for (const char *const typed : {"", "127.0.0.1:15700", "http://device", "tcp://127.0.0.1:99999", "serial:///"}) {
        EXPECT_EQ(makeLink(QUrl(QString::fromLatin1(typed)), nullptr), nullptr);
    }
}

TEST(MakeLink, ALinkThatWasMadeLeavesTheErrorAlone)
{
    QString error = QStringLiteral("as it was");
    EXPECT_NE(makeLink(QUrl(QStringLiteral("tcp://127.0.0.1")), &error), nullptr);
    EXPECT_EQ(error, QStringLiteral("as it was"));
}
