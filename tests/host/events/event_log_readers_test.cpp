#include <QtNetwork/QLocalSocket>

#include "event_log_fixture.h"

namespace {

using namespace biz::host;
using namespace biz::test;

class EventLogReaders : public EventsOfDevice
{
protected:
    EventLogReaders()
        : log(host.get())
    {
        answerEverything();
        log.serveOn(socketPath());
    }

    /** Once the socket is there, which the log opens on its own thread. */
    static bool waitForConnection(QLocalSocket *reader, const QString &socket)
    {
        return waitFor([&] {
            reader->connectToServer(socket);
            return reader->waitForConnected();
        });
    }

    QString socketPath() const { return folder.path(QStringLiteral("events")); }

    /** Connected, and told how things stand. */
    void connectReader(QLocalSocket *reader)
    {
        ASSERT_TRUE(waitForConnection(reader, socketPath()));
        ASSERT_TRUE(waitForEvent(reader, QStringLiteral("state")));
    }

    bool waitForEvent(QLocalSocket *reader, const QString &event)
    {
        return waitFor([&] {
            heard[reader] += reader->readAll();
            return heard[reader].contains("\"event\":\"" + event.toUtf8() + '"');
        });
    }

    EventLog log;
    std::map<QLocalSocket *, QByteArray> heard;
};

TEST_F(EventLogReaders, AreToldFirstHowThingsStand)
{
    start();
    QLocalSocket reader;
    connectReader(&reader);

    const QByteArrayList lines = linesIn(heard[&reader]);
    EXPECT_EQ(eventsIn(lines), (QStringList{"start", "state"}));
    EXPECT_EQ(parsed(lines.at(1)).value("state").toString(), QStringLiteral("up"));
}

TEST_F(EventLogReaders, AllHearWhatHappens)
{
    start();
    QLocalSocket first;
    QLocalSocket second;
    connectReader(&first);
    connectReader(&second);
    exchange();

    EXPECT_TRUE(waitForEvent(&first, QStringLiteral("answered")));
    EXPECT_TRUE(waitForEvent(&second, QStringLiteral("answered")));
}

TEST_F(EventLogReaders, ThatNeverReadAreDropped)
{
    start();
    QLocalSocket lazy;
    lazy.setReadBufferSize(1);
    ASSERT_TRUE(waitForConnection(&lazy, socketPath()));
    CommandOptions options;
    options.id = QString(200000, QLatin1Char('x'));

    // The reader's buffer, the system's and the log's fill up one after another.
    EXPECT_TRUE(waitFor([&] {
        exchange(options);
        return lazy.state() == QLocalSocket::UnconnectedState || lazy.readAll().isNull();
    }));
}

TEST_F(EventLogReaders, AreTurnedAwayWhenThereAreManyAndLetInWhenOneHasGone)
{
    constexpr int most = 16;
    start();
    std::vector<std::unique_ptr<QLocalSocket>> readers;
    for (int reader = 0; reader < most; ++reader) {
        readers.push_back(std::make_unique<QLocalSocket>());
        connectReader(readers.back().get());
    }
    QLocalSocket further;
    ASSERT_TRUE(waitForConnection(&further, socketPath()));
    EXPECT_TRUE(waitFor([&] { return further.state() == QLocalSocket::UnconnectedState; }));

    readers.pop_back();
    EXPECT_TRUE(waitFor([&] {
        QLocalSocket next; // which is turned away until the log has noticed
        QByteArray told;
        return waitForConnection(&next, socketPath()) && waitFor([&] {
                   told += next.readAll();
                   return told.contains("\"state\"") || next.state() == QLocalSocket::UnconnectedState;
               }) &&
               told.contains("\"state\"");
    }));
}

TEST_F(EventLogReaders, MayComeAndGo)
{
    start();
    {
        QLocalSocket brief;
        connectReader(&brief);
    }
    exchange();

    QLocalSocket next;
    connectReader(&next);
    exchange();
    EXPECT_TRUE(waitForEvent(&next, QStringLiteral("answered")));
}

TEST_F(EventLogReaders, FindTheSocketOfALogWhoseProcessWasKilled)
{
    const QString stale = folder.path(QStringLiteral("stale"));
    ASSERT_TRUE(QFile(stale).open(QIODevice::WriteOnly));
    log.serveOn(stale);

    QLocalSocket reader;
    EXPECT_TRUE(waitForConnection(&reader, stale));
}

TEST_F(EventLogReaders, LearnOfASocketThatCannotBeOpened)
{
    QString failure;
    QObject::connect(&log, &EventLog::failed, host.get(), [&](const QString &why) { failure = why; });
    log.serveOn(QStringLiteral("/no/such/folder/events"));

    EXPECT_TRUE(waitFor([&] { return failure.contains(QStringLiteral("/no/such/folder/events")); }));
}

} // namespace
