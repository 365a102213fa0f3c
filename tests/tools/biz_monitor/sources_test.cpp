#include <QtNetwork/QLocalServer>

#include <gtest/gtest.h>

#include <biz_monitor/sources/file_source.h>
#include <biz_monitor/sources/socket_source.h>
#include <biz_monitor/watch/watched_log.h>
#include <host/event_log.h>
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>

namespace {

using namespace biz;
using monitor::WatchedLog;

/** Tells of one device what a test says. */
class ToldEvents : public host::EventSource
{
public:
    QJsonObject about() const override
    {
        return {{QStringLiteral("channel"), QStringLiteral("device")},
                {QStringLiteral("link"), QStringLiteral("here")}};
    }
    QJsonObject state() const override { return {}; }

    void answeredCommand(host::Ticket ticket)
    {
        host::Event event;
        event.ticket = ticket;
        event.name = QStringLiteral("get scene");
        event.kind = host::EventKind::Given;
        tell(event);
        event.kind = host::EventKind::Sent;
        tell(event);
        event.kind = host::EventKind::Answered;
        event.roundTripMs = 3.0;
        tell(event);
    }
};

/** An application with an event log, and a monitor. */
class SourcesTest : public testing::Test
{
protected:
    void startApplication()
    {
        auto events = std::make_unique<ToldEvents>();
        told = events.get();
        log = std::make_unique<host::EventLog>(std::move(events));
    }

    static quint64 commandsOf(const WatchedLog &watched)
    {
        const history::History &history = watched.history();
        return history.devices.empty() ? 0 : history::tallyOf(history.devices.front()).answered;
    }

    static bool sees(const WatchedLog &watched, quint64 commands)
    {
        return test::waitFor([&] { return commandsOf(watched) == commands; });
    }

    const test::ScratchFolder folder;
    ToldEvents *told = nullptr;
    std::unique_ptr<host::EventLog> log;
};

TEST_F(SourcesTest, ApplicationIsFollowedOnItsSocket)
{
    startApplication();
    log->serveOn(folder.path(QStringLiteral("socket")));
    const WatchedLog watched(std::make_unique<monitor::SocketSource>(folder.path(QStringLiteral("socket"))));
    ASSERT_TRUE(test::waitFor([&] { return watched.history().runs.size() == 1; }));
    told->answeredCommand(1);
    EXPECT_TRUE(sees(watched, 1));
    EXPECT_TRUE(watched.problem().isEmpty()) << qPrintable(watched.problem());
    EXPECT_TRUE(watched.isLive());
}

TEST_F(SourcesTest, ApplicationThatWritesFasterThanTheWindowReadsIsReadToTheEnd)
{
    const QString socket = folder.path(QStringLiteral("socket"));
    QLocalServer application;
    ASSERT_TRUE(application.listen(socket));
    const WatchedLog watched(std::make_unique<monitor::SocketSource>(socket));
    ASSERT_TRUE(test::waitFor([&] { return application.hasPendingConnections(); }));
    constexpr int lines = 10000;
    const QByteArray line =
        R"({"event":"lost","utc":"2026-05-06T14:00:00.000Z","lines":1,"reason":")" + QByteArray(1000, 'x') + "\"}\n";
    application.nextPendingConnection()->write(line.repeated(lines));

    EXPECT_TRUE(test::waitFor([&] { return watched.history().events == lines; })) << watched.history().events;
}

TEST_F(SourcesTest, ApplicationThatComesBackIsFollowedAgain)
{
    const QString socket = folder.path(QStringLiteral("socket"));
    const WatchedLog watched(std::make_unique<monitor::SocketSource>(socket));
    EXPECT_FALSE(watched.problem().isEmpty());
    for (quint64 run = 1; run <= 2; ++run) {
        startApplication();
        log->serveOn(socket);
        ASSERT_TRUE(test::waitFor([&] { return watched.history().runs.size() == run; }));
        told->answeredCommand(1);
        ASSERT_TRUE(sees(watched, run));
        log.reset();
    }
    EXPECT_TRUE(test::waitFor([&] { return !watched.problem().isEmpty(); }));
}

TEST_F(SourcesTest, LogThatRotatesIsFollowedWithoutAGap)
{
    constexpr quint64 commands = 300;
    startApplication();
    constexpr qint64 smallFile = 4000;
    constexpr int enoughFiles = 100;
    log->writeTo(host::EventFile(folder.path(QStringLiteral("events.jsonl")), smallFile, enoughFiles));
    const WatchedLog watched(std::make_unique<monitor::FileSource>(folder.path(QStringLiteral("events.jsonl"))));
    for (quint64 ticket = 1; ticket <= commands; ++ticket) {
        told->answeredCommand(ticket);
        if (ticket % 50 == 0) {
            ASSERT_TRUE(log->flush());
            EXPECT_TRUE(sees(watched, ticket));
        }
    }
    EXPECT_TRUE(QFile::exists(folder.path(QStringLiteral("events.jsonl.3"))));
    EXPECT_EQ(watched.history().runs.size(), 1U);
}

TEST_F(SourcesTest, RecordingIsShownAsOfItsEnd)
{
    const WatchedLog watched(
        std::make_unique<monitor::FileSource>(QStringLiteral(BIZ_RECORDINGS "/device_faults.jsonl")));
    ASSERT_TRUE(test::waitFor([&] { return !watched.history().runs.empty() && watched.history().runs[0].isComplete; }));
    EXPECT_FALSE(watched.isLive());
    EXPECT_EQ(watched.nowMs(), watched.history().toMs);
    EXPECT_EQ(watched.history().devices.size(), 1U);
    EXPECT_FALSE(watched.history().devices[0].refusals.empty());
}

TEST_F(SourcesTest, FileThatIsNotThereYetIsWaitedFor)
{
    const QString path = folder.path(QStringLiteral("events.jsonl"));
    const WatchedLog watched(std::make_unique<monitor::FileSource>(path));
    EXPECT_TRUE(test::waitFor([&] { return watched.problem().contains(QStringLiteral("there is no such file yet")); }));
    startApplication();
    log->writeTo(host::EventFile(path));
    told->answeredCommand(1);
    EXPECT_TRUE(sees(watched, 1));
    EXPECT_TRUE(watched.problem().isEmpty());
}

} // namespace
