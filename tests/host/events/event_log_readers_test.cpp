#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QtNetwork/QLocalSocket>

#include "event_log_fixture.h"

namespace {

using namespace biz::host;
using namespace biz::test;

/** What a process that is killed leaves behind: a socket that nobody serves. */
void leaveSocket(const QString &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof(address.sun_path) - 1);
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    close(left);
}

/** Whether the other side has closed it, whatever is still to be read. */
bool isHungUp(const QLocalSocket &socket)
{
    pollfd look = {static_cast<int>(socket.socketDescriptor()), 0, 0};
    return poll(&look, 1, 0) == 1 && (look.revents & POLLHUP) != 0;
}

class EventLogReaders : public EventsOfDevice
{
protected:
    EventLogReaders()
        : log(host.get())
    {
        answerEverything();
        QObject::connect(&log, &EventLog::failed, host.get(), [this](const QString &why) { failure = why; });
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

    QString failure;
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
        return isHungUp(lazy);
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
    leaveSocket(stale);
    log.serveOn(stale);

    QLocalSocket reader;
    EXPECT_TRUE(waitForConnection(&reader, stale));
}

TEST_F(EventLogReaders, AreNotServedInThePlaceOfAFile)
{
    const QString path = folder.path(QStringLiteral("notes"));
    QFile notes(path);
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly) && notes.write("kept") == 4 && notes.flush());
    log.serveOn(path);

    EXPECT_TRUE(waitFor([&] { return failure.contains(QStringLiteral("no socket")); }));
    EXPECT_EQ(QFile(path).size(), 4);
}

TEST_F(EventLogReaders, StayWithTheLogThatServedFirst)
{
    QLocalSocket first;
    connectReader(&first);
    EventLog second(host.get());
    QObject::connect(&second, &EventLog::failed, host.get(), [&](const QString &why) { failure = why; });
    second.serveOn(socketPath());

    EXPECT_TRUE(waitFor([&] { return failure.contains(QStringLiteral("serves there")); }));
    QLocalSocket next;
    connectReader(&next);
    EXPECT_EQ(first.state(), QLocalSocket::ConnectedState);
}

TEST_F(EventLogReaders, WhoReadAreKeptInABurst)
{
    constexpr int burst = 2 * 1024 * 1024; // more than a reader may hold
    QLocalSocket reader;
    connectReader(&reader);
    CommandOptions options;
    options.id = QString(burst, QLatin1Char('x'));
    enqueue(command(longWaitMs), options);

    EXPECT_TRUE(waitFor([&] {
        heard[&reader] += reader.readAll();
        return heard[&reader].size() > burst;
    }));
}

TEST_F(EventLogReaders, HearTheLastLinesOfALogThatEnds)
{
    constexpr int burst = 1024 * 1024; // more than the system holds for a reader
    const QString path = folder.path(QStringLiteral("ending"));
    auto ending = std::make_unique<EventLog>(host.get());
    ending->serveOn(path);
    ASSERT_TRUE(waitFor([&] { return QFile::exists(path); }));
    QByteArray read;
    std::promise<void> begun;
    std::thread reader([&] {
        QLocalSocket socket;
        socket.connectToServer(path);
        while (socket.waitForReadyRead(patienceMs)) {
            const bool isFirst = read.isEmpty();
            read += socket.readAll();
            if (isFirst) {
                begun.set_value();
            }
        }
    });
    const std::future<void> isBegun = begun.get_future();
    EXPECT_TRUE(waitFor([&] { return isBegun.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    CommandOptions options;
    options.id = QString(burst, QLatin1Char('x'));
    enqueue(command(longWaitMs), options);
    ending.reset();
    reader.join();

    EXPECT_GT(read.size(), burst);
    EXPECT_TRUE(read.endsWith('\n'));
}

TEST_F(EventLogReaders, LearnOfASocketThatCannotBeOpened)
{
    log.serveOn(QStringLiteral("/no/such/folder/events"));

    EXPECT_TRUE(waitFor([&] { return failure.contains(QStringLiteral("/no/such/folder/events")); }));
}

} // namespace
