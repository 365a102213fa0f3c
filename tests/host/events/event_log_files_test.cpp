#include <unistd.h>

#include <QtCore/QBuffer>

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

/** Tells what a test has it tell. */
class ToldEvents : public EventSource
{
public:
    QJsonObject about() const override { return {}; }
    QJsonObject state() const override { return {}; }

    void tellAt(qint64 utcMs)
    {
        Event event;
        event.kind = EventKind::Opened;
        event.utcMs = utcMs;
        Q_EMIT happened(event);
    }
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

} // namespace
