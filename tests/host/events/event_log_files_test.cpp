#include <atomic>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QBuffer>
#include <QtCore/QDir>
#include <QtCore/QThread>

#include <host/support/on_thread.h>
#include <host/version.h>

#include "event_log_fixture.h"

namespace {

using namespace biz::host;
using namespace biz::test;

using EventLogFiles = EventsOfDevice;

TEST_F(EventLogFiles, BeginWithTheFormatAndHowThingsStand)
{
    EventLog log(host.get(), path());
    start();
    ASSERT_TRUE(log.flush());

    const QByteArrayList lines = linesOf(path());
    EXPECT_EQ(eventsIn(lines).mid(0, 2), (QStringList{"start", "state"}));
    EXPECT_EQ(parsed(lines.at(0)).value("format").toInt(), eventFormat);
    EXPECT_EQ(parsed(lines.at(0)).value("channel").toString(), QStringLiteral("device"));
}

TEST_F(EventLogFiles, BeginWithTheVersionsThatTheProcessRunsWith)
{
    EventLog log(host.get(), path());
    ASSERT_TRUE(log.flush());

    const QJsonObject start = parsed(linesOf(path()).at(0));
    EXPECT_EQ(start.value("library").toString(), libraryVersion());
    EXPECT_TRUE(start.value("environment").toString().contains(QLatin1String(qVersion())));
}

TEST_F(EventLogFiles, HoldEveryEventOfACommand)
{
    answerEverything();
    EventLog log(host.get(), path());
    start();
    exchange();
    ASSERT_TRUE(log.flush());

    EXPECT_EQ(eventsIn(linesOf(path())), (QStringList{"start", "state", "linkStateChanged", "linkStateChanged", "given",
                                                      "writing", "sent", "answered"}));
}

TEST_F(EventLogFiles, HoldWhatHappensRightAfterTheAttaching)
{
    EventLog log(host.get(), path());
    const Ticket ticket = enqueue();
    ASSERT_TRUE(log.flush());

    const QByteArrayList lines = linesOf(path());
    EXPECT_EQ(eventsIn(lines), (QStringList{"start", "state", "given"}));
    host->stop();
    EXPECT_TRUE(waitForEnd(ticket));
}

TEST_F(EventLogFiles, HoldWhatHappensAfterAQuietTime)
{
    EventLog log(host.get(), path());
    start();
    ASSERT_TRUE(log.flush());
    log.flush();
    // The log does one thing after the other: once the socket is there, it has looked, found nothing and gone to sleep.
    log.serveOn(folder.path(QStringLiteral("socket")));
    ASSERT_TRUE(waitFor([&] { return QFile::exists(folder.path(QStringLiteral("socket"))); }));
    const auto before = linesOf(path()).size();
    enqueue();

    EXPECT_TRUE(waitFor([&] { return linesOf(path()).size() > before; }));
    host->stop();
    EXPECT_TRUE(waitForAllEnds());
}

TEST_F(EventLogFiles, PipeWhoseReaderHasGoneFailsAndTheApplicationGoesOn)
{
    const QByteArray pipe = QFile::encodeName(path());
    ASSERT_EQ(mkfifo(pipe.constData(), S_IRWXU), 0);
    const int reader = open(pipe.constData(), O_RDONLY | O_NONBLOCK);
    EventLog log(host.get(), path());
    QString failure;
    QObject::connect(&log, &EventLog::failed, host.get(), [&](const QString &why) { failure = why; });
    ASSERT_TRUE(log.flush());
    close(reader);
    enqueue();

    EXPECT_TRUE(waitFor([&] { return failure.contains(path()); }));
    const int next = open(pipe.constData(), O_RDONLY | O_NONBLOCK); // else the log would wait for one at its end
    host->stop();
    EXPECT_TRUE(waitForAllEnds());
    log.flush();
    close(next);
}

TEST_F(EventLogFiles, LogMayBeDeletedByWhoHearsOfItsFailure)
{
    auto log = std::make_unique<EventLog>(host.get());
    QObject::connect(log.get(), &EventLog::failed, host.get(), [&] { log.reset(); });
    for (const char *place : {"/nowhere/1", "/nowhere/2", "/nowhere/3"}) {
        log->writeTo(QString::fromLatin1(place));
    }

    EXPECT_TRUE(waitFor([&] { return log == nullptr; }));
}

/** Tells what a test has it tell. */
class ToldEvents : public EventSource
{
public:
    explicit ToldEvents(int stateBytes = 0)
        : m_state{{QStringLiteral("text"), QString(stateBytes, QLatin1Char('x'))}}
    {
    }

    QJsonObject about() const override { return {}; }
    QJsonObject state() const override { return m_state; }

    void tellAt(qint64 utcMs, const QString &reason = {})
    {
        Event event;
        event.kind = EventKind::Opened;
        event.utcMs = utcMs;
        event.reason = reason;
        Q_EMIT happened(event);
    }

private:
    const QJsonObject m_state;
};

TEST_F(EventLogFiles, TellEachEventWithItsOwnSecond)
{
    auto source = std::make_unique<ToldEvents>();
    ToldEvents &told = *source;
    EventLog log(std::move(source));
    log.writeTo(EventFile(path()));
    for (const qint64 utcMs : {1772356087006, 1772356087999, 1772356088000}) {
        told.tellAt(utcMs);
    }
    ASSERT_TRUE(log.flush());

    QStringList times;
    for (const QByteArray &line : linesOf(path()).mid(2)) {
        times.append(parsed(line).value("utc").toString());
    }
    EXPECT_EQ(times, (QStringList{"2026-03-01T09:08:07.006Z", "2026-03-01T09:08:07.999Z", "2026-03-01T09:08:08.000Z"}));
}

TEST_F(EventLogFiles, GoOnAsNumberedOnesOfWhichTheLastFewAreKept)
{
    constexpr qint64 maxBytes = 4000;
    answerEverything();
    EventLog log(host.get(), EventFile(path(), maxBytes, 3));
    start();
    for (int i = 0; i < 30; ++i) {
        exchange();
    }
    ASSERT_TRUE(log.flush());

    EXPECT_FALSE(QFile::exists(path() + ".3"));
    for (const char *const end : {"", ".1", ".2"}) {
        EXPECT_LE(QFile(path() + end).size(), maxBytes) << end;
        EXPECT_EQ(eventsIn(linesOf(path() + end)).first(), QStringLiteral("start")) << end;
    }
}

TEST_F(EventLogFiles, SayAnewHowThingsStandWhenTheyGoOn)
{
    answerEverything();
    EventLog log(host.get(), EventFile(path(), 4000, 2));
    start();
    ASSERT_TRUE(waitFor([&] {
        exchange();
        return log.flush() && QFile::exists(path() + ".1");
    }));
    exchange();
    ASSERT_TRUE(log.flush());

    EXPECT_EQ(eventsIn(linesOf(path())).count("start"), 1);
    EXPECT_EQ(eventsIn(linesOf(path())).count("state"), 1);
}

TEST_F(EventLogFiles, TellOnceThatTheDiskIsFull)
{
    answerEverything();
    EventLog log(host.get(), QStringLiteral("/dev/full"));
    QStringList failures;
    QObject::connect(&log, &EventLog::failed, host.get(), [&](const QString &why) { failures.append(why); });
    start();
    for (int i = 0; i < 3; ++i) {
        exchange();
        log.flush();
    }
    ASSERT_TRUE(waitFor([&] { return !failures.isEmpty(); }));

    EXPECT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures.first().startsWith("/dev/full: ")) << failures.first().toStdString();
}

TEST_F(EventLogFiles, AreNotFilledWithStartLinesWhereTheFolderIsNotToBeChanged)
{
    constexpr qint64 maxBytes = 2000;
    answerEverything();
    ASSERT_TRUE(QDir().mkpath(path() + ".1/in the way"));
    EventLog log(host.get(), EventFile(path(), maxBytes, 2));
    QStringList failures;
    QObject::connect(&log, &EventLog::failed, host.get(), [&](const QString &why) { failures.append(why); });
    start();
    ASSERT_TRUE(waitFor([&] {
        exchange();
        return log.flush() && !failures.isEmpty();
    }));
    exchange();
    ASSERT_TRUE(log.flush());

    EXPECT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures.first().contains("is full")) << failures.first().toStdString();
    EXPECT_LE(QFile(path()).size(), maxBytes);
    EXPECT_EQ(eventsIn(linesOf(path())).count("start"), 1);
}

TEST_F(EventLogFiles, HoldOneFileAtLeastAndAnyNumberOfBytesWithoutABound)
{
    answerEverything();
    EventLog log(host.get(), EventFile(path(), 0, 0));
    start();
    for (int i = 0; i < 30; ++i) {
        exchange();
    }
    ASSERT_TRUE(log.flush());

    EXPECT_EQ(eventsIn(linesOf(path())).count("start"), 1);
    EXPECT_EQ(eventsIn(linesOf(path())).count("answered"), 30);
}

TEST_F(EventLogFiles, BeginWhenTheyCanBeWrittenAtLast)
{
    constexpr int retryMs = 1000;
    answerEverything();
    const QString later = folder.path(QStringLiteral("later"));
    EventLog log(host.get(), later + "/events.jsonl");
    start();
    exchange();
    ASSERT_TRUE(log.flush());
    ASSERT_TRUE(QDir().mkpath(later));
    ASSERT_TRUE(waitFor(
        [&] {
            exchange();
            return log.flush() && QFile::exists(later + "/events.jsonl");
        },
        retryMs + patienceMs));
    exchange();
    ASSERT_TRUE(log.flush());

    const QStringList events = eventsIn(linesOf(later + "/events.jsonl"));
    EXPECT_EQ(events.mid(0, 2), (QStringList{"start", "lost"}));
    EXPECT_EQ(events.count("state"), 1);
}

TEST_F(EventLogFiles, CannotHoldUpAHostWithADeviceThatIsStuck)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    auto stuck = std::make_unique<QFile>();
    ASSERT_TRUE(stuck->open(ends[1], QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle));
    answerEverything();
    start();
    {
        EventLog log(host.get());
        log.writeTo(std::move(stuck));
        CommandOptions options;
        options.id = QString(100000, QLatin1Char('x')); // more than a pipe holds
        exchange(options);
        EXPECT_FALSE(log.flush(50));
        exchange();
    }

    // The writer ends once it is read from.
    char bytes[65536];
    while (read(ends[0], bytes, sizeof bytes) > 0) {
    }
    close(ends[0]);
}

TEST_F(EventLogFiles, TellOfADeviceThatTakesNoMoreAndDoWithoutIt)
{
    auto full = std::make_unique<QFile>(QStringLiteral("/dev/full"));
    ASSERT_TRUE(full->open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    answerEverything();
    EventLog log(host.get());
    int failures = 0;
    QObject::connect(&log, &EventLog::failed, host.get(), [&] { ++failures; });
    log.writeTo(std::move(full));
    start();
    ASSERT_TRUE(waitFor([&] { return failures > 0; }));
    exchange();
    ASSERT_TRUE(log.flush());
    QCoreApplication::processEvents();

    EXPECT_EQ(failures, 1);
}

TEST_F(EventLogFiles, LoseWhatTheyHaveNoRoomForBehindADeviceThatIsStuckAndSayHowMuch)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    auto stuck = std::make_unique<QFile>();
    ASSERT_TRUE(stuck->open(ends[1], QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle));
    auto source = std::make_unique<ToldEvents>(100000); // more than a pipe holds
    ToldEvents &told = *source;
    auto log = std::make_unique<EventLog>(std::move(source));
    log->writeTo(std::move(stuck));
    EXPECT_FALSE(log->flush(50));
    for (int i = 0; i < 10; ++i) {
        told.tellAt(i, QString(1024 * 1024, QLatin1Char('x'))); // a few of them fill the memory of a log
    }
    std::string text;
    std::thread reader([&] {
        char bytes[65536];
        for (ssize_t size = 1; size > 0;) {
            size = read(ends[0], bytes, sizeof bytes);
            text.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
    });
    EXPECT_TRUE(log->flush(patienceMs));
    log.reset();
    reader.join();
    close(ends[0]);

    EXPECT_NE(text.find("\"event\":\"lost\""), std::string::npos);
}

TEST_F(EventLogFiles, MayBeADeviceOfTheApplication)
{
    auto own = std::make_unique<QBuffer>();
    QByteArray text;
    own->setBuffer(&text);
    ASSERT_TRUE(own->open(QIODevice::WriteOnly));
    {
        EventLog log(host.get());
        log.writeTo(std::move(own));
        start();
    }

    EXPECT_EQ(eventsIn(linesIn(text)).mid(0, 2), (QStringList{"start", "state"}));
}

TEST_F(EventLogFiles, AreCompleteWhenTheHostTakesItsLogAlong)
{
    answerEverything();
    new EventLog(host.get(), path());
    start();
    exchange();
    host->stop();
    ASSERT_TRUE(waitFor([&] { return seen.count(LinkState::Closed) > 0; }));
    host.reset();

    EXPECT_EQ(eventsIn(linesOf(path())).last(), QStringLiteral("linkStateChanged"));
}

TEST_F(EventLogFiles, AreNotTurnedOverByTellingHowThingsStand)
{
    constexpr qint64 maxBytes = 4000;
    auto source = std::make_unique<ToldEvents>(maxBytes * 2 / 3);
    ToldEvents &told = *source;
    EventLog log(std::move(source));
    log.writeTo(EventFile(path(), maxBytes, 100));
    const auto settle = [&log] {
        for (int turn = 0; turn < 10; ++turn) {
            ASSERT_TRUE(log.flush());
            QCoreApplication::processEvents();
        }
    };
    for (int i = 0; i < 100; ++i) {
        told.tellAt(i);
        ASSERT_TRUE(log.flush());
    }
    settle();
    const auto files = QDir(folder.path()).entryList(QDir::Files).size();
    EXPECT_GT(files, 1);
    settle();

    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), files);
}

TEST_F(EventLogFiles, CountTheLinesThatWereLostOnce)
{
    constexpr int lostEvents = 5;
    constexpr int headLines = 1; // "state": "start" is written in time
    auto source = std::make_unique<ToldEvents>();
    ToldEvents &told = *source;
    EventLog log(std::move(source));
    const QString later = folder.path(QStringLiteral("later"));
    log.writeTo(EventFile(later + "/events.jsonl"));
    for (int i = 0; i < lostEvents; ++i) {
        told.tellAt(i);
        ASSERT_TRUE(log.flush());
    }
    ASSERT_TRUE(QDir().mkpath(later));
    const QString file = later + "/events.jsonl";
    int further = 0;
    ASSERT_TRUE(waitFor([&] {
        told.tellAt(++further);
        return log.flush() && QFile::exists(file) && eventsIn(linesOf(file)).contains("lost");
    }));

    // Which events are lost is a matter of when the log tries the file again: each is either lost or behind that line.
    const QByteArrayList lines = linesOf(file);
    const QStringList events = eventsIn(lines);
    ASSERT_EQ(events.mid(0, 2), (QStringList{"start", "lost"}));
    EXPECT_EQ(events.count("lost"), 1);
    EXPECT_EQ(parsed(lines.at(1)).value("lines").toInt() + events.count("opened"), headLines + lostEvents + further);
}

TEST_F(EventLogFiles, TellOfLostLinesThoughNothingHappensAnyMore)
{
    auto source = std::make_unique<ToldEvents>();
    ToldEvents &told = *source;
    EventLog log(std::move(source));
    const QString later = folder.path(QStringLiteral("later"));
    log.writeTo(EventFile(later + "/events.jsonl"));
    told.tellAt(1);
    ASSERT_TRUE(log.flush());
    ASSERT_TRUE(QDir().mkpath(later));
    EXPECT_TRUE(waitFor([&] {
        return QFile::exists(later + "/events.jsonl") && eventsIn(linesOf(later + "/events.jsonl")).contains("lost");
    }));
}

TEST_F(EventLogFiles, AreWrittenForAHostThatMovedToAnotherThread)
{
    answerEverything();
    new EventLog(host.get(), path());
    QThread thread;
    host->moveToThread(&thread);
    QObject context;
    context.moveToThread(&thread);
    thread.start();
    std::atomic<bool> hasEnded{false};
    QObject::connect(
        host.get(), &DeviceHost::ended, host.get(), [&] { hasEnded = true; }, Qt::DirectConnection);
    // From here on the host is called on its own thread only. This one runs no event loop.
    runOnThreadOf(&context, [&] {
        EXPECT_TRUE(host->start());
        given.insert(host->enqueue(command(longWaitMs)));
    });
    while (!hasEnded) {
        std::this_thread::yield();
    }
    runOnThreadOf(&context, [&] { host.reset(); });
    thread.quit();
    thread.wait();
    EXPECT_EQ(eventsIn(linesOf(path())).count("answered"), 1);
}

} // namespace
