#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <thread>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class DeviceHostSettings : public DeviceHostFixture
{
protected:
    using Texts = QStringList;

    Texts historyOf(Ticket ticket) const
    {
        Texts texts;
        for (const CommandEvent &event : seen.endOf(ticket).history) {
            texts.append(event.text);
        }
        return texts;
    }

    /** The device loses the sequence byte and answers with bytes of its own. */
    void replyWithoutSequence(const model_Protocoldata &command, uchar mark = 0)
    {
        model_Protocoldata reply = command;
        reply.ucHead[0] = 0xEE;
        reply.ucHead[6] = mark;
        link->reply(reply);
    }
};

/** Byte 6 of the head says what belongs together. */
class MarkMatcher : public ReplyMatcher
{
public:
    bool matches(const model_Protocoldata &command, const model_Protocoldata &reply) const override
    {
        return command.ucHead[6] == reply.ucHead[6];
    }
};

model_Protocoldata marked(model_Protocoldata command, uchar mark)
{
    command.ucHead[6] = mark;
    return command;
}

} // namespace

// --- Settle time --------------------------------------------------------------------------

TEST_F(DeviceHostSettings, TheNextCommandWaitsUntilTheLineHasSettled)
{
    constexpr int settleMs = 150;
    ASSERT_TRUE(host->setSettleTime(settleMs));
    start();
    enqueue();
    const Ticket second = enqueue();
    QElapsedTimer sinceReply;
    link->reply(nextCommand());
    sinceReply.start();
    ASSERT_TRUE(waitForCommands(2));
    EXPECT_GE(sinceReply.elapsed(), settleMs - 5);
    link->reply(nextCommand());
    EXPECT_EQ(waitForOutcome(second), "answered");
}

TEST_F(DeviceHostSettings, ASettleTimeBeyondTheWaitIsNoTimeOut)
{
    constexpr int settleMs = 400;
    ASSERT_TRUE(host->setSettleTime(settleMs));
    start();
    const Ticket first = enqueue(shortWaitMs);
    enqueue();
    link->reply(nextCommand());
    QElapsedTimer sinceReply;
    sinceReply.start();
    ASSERT_TRUE(waitForCommands(2));
    // The channel would have given the first one up, and opened the gate, long before.
    EXPECT_GE(sinceReply.elapsed(), settleMs - 5);
    EXPECT_EQ(seen.outcomeOf(first), "answered");
    EXPECT_EQ(host->counters().resent, 0U);
}

TEST_F(DeviceHostSettings, TheEventLoopRunsWhileTheLineSettles)
{
    ASSERT_TRUE(host->setSettleTime(300));
    start();
    const Ticket first = enqueue();
    link->reply(nextCommand());
    EXPECT_EQ(waitForOutcome(first), "answered");
    const Ticket second = enqueue();
    EXPECT_EQ(link->commands.size(), 1U);
    host->stop();
    EXPECT_EQ(waitForOutcome(second), "stopped");

    // Nothing of it is left for the next run.
    start();
    enqueue();
    QElapsedTimer sinceStart;
    sinceStart.start();
    ASSERT_TRUE(waitForCommands(2));
    EXPECT_LT(sinceStart.elapsed(), 250);
}

TEST_F(DeviceHostSettings, TheSettleTimeOfAStoppedRunHoldsNothingBackInTheNext)
{
    constexpr int minuteMs = 60000;
    ASSERT_TRUE(host->setSettleTime(minuteMs));
    start();
    const Ticket answered = enqueue();
    link->reply(nextCommand());
    ASSERT_TRUE(waitForEnd(answered));
    host->stop();

    start();
    enqueue(minuteMs);
    nextCommand();
    host->clear(); // opens the gate for the next one, unless the line has still to settle
    enqueue(minuteMs);
    nextCommand();
}

TEST_F(DeviceHostSettings, TheLineSettlesAlsoWhileTheThreadIsBusy)
{
    constexpr int settleMs = 400;
    ASSERT_TRUE(host->setSettleTime(settleMs));
    start();
    enqueue();
    enqueue();
    QElapsedTimer sinceReply;
    sinceReply.start();
    link->reply(nextCommand());
    stayBusyFor(settleMs / 2);
    ASSERT_TRUE(waitForCommands(2));
    EXPECT_GE(sinceReply.elapsed(), settleMs - 5);
}

TEST_F(DeviceHostSettings, ASettleTimeThatIsRunningCanBeLifted)
{
    ASSERT_TRUE(host->setSettleTime(std::numeric_limits<int>::max()));
    start();
    const Ticket first = enqueue();
    enqueue();
    link->reply(nextCommand());
    ASSERT_TRUE(waitForEnd(first));
    stayBusyFor(30);
    QCoreApplication::processEvents();
    EXPECT_EQ(link->commands.size(), 1U);
    ASSERT_TRUE(host->setSettleTime(0));
    ASSERT_TRUE(waitForCommands(2));
}

TEST_F(DeviceHostSettings, PipelinedCommandsTakeNoNoticeOfTheSettleTime)
{
    ASSERT_TRUE(host->setSettleTime(std::numeric_limits<int>::max()));
    host->setPipelined(true);
    answerEverything();
    start();
    ASSERT_TRUE(waitForEnd(enqueue()));
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostSettings, PipeliningLetsGoWhatTheSettleTimeHoldsBack)
{
    ASSERT_TRUE(host->setSettleTime(std::numeric_limits<int>::max()));
    answerEverything();
    start();
    ASSERT_TRUE(waitForEnd(enqueue()));
    const Ticket held = enqueue();
    stayBusyFor(30);
    QCoreApplication::processEvents();
    EXPECT_EQ(link->commands.size(), 1U);
    host->setPipelined(true);
    EXPECT_TRUE(waitForEnd(held));
}

// --- What is refused ------------------------------------------------------------------------

TEST_F(DeviceHostSettings, ValuesOutOfRangeAreRefused)
{
    for (const int tooSmall : {0, -1}) {
        EXPECT_FALSE(host->setDefaultWaitTime(tooSmall));
        EXPECT_EQ(host->error(), Error::OutOfRange);
    }
    EXPECT_FALSE(host->setSettleTime(-1));
    EXPECT_TRUE(host->errorString().contains("settle")) << host->errorString().toStdString();
    EXPECT_FALSE(host->setReconnectInterval(-1));
    EXPECT_TRUE(host->errorString().contains("reconnect")) << host->errorString().toStdString();

    EXPECT_TRUE(host->setDefaultWaitTime(1));
    EXPECT_TRUE(host->setSettleTime(0));
    EXPECT_TRUE(host->setReconnectInterval(0));
}

TEST_F(DeviceHostSettings, ARefusedDefaultWaitLeavesTheFormerOne)
{
    ASSERT_TRUE(host->setDefaultWaitTime(longWaitMs));
    EXPECT_FALSE(host->setDefaultWaitTime(0));
    start();
    enqueue(0);
    nextCommand();
    ASSERT_TRUE(waitFor([this] { return seen.count("sent") == 1; }));
    EXPECT_EQ(seen.of("sent").front().record.iWaitTime, longWaitMs);
}

TEST_F(DeviceHostSettings, ModelsAreKnownByTheirNames)
{
    for (const CheckedModel &model : checkedModels()) {
        EXPECT_TRUE(host->setModel(model.name));
        EXPECT_EQ(biz_CMDSWork::deviceType, model.deviceType) << model.name.toStdString();
    }
}

TEST_F(DeviceHostSettings, AnUnknownModelIsRefusedWithTheNamesThatAreKnown)
{
    ASSERT_TRUE(host->setModel("A2"));
    const int before = biz_CMDSWork::deviceType;
    for (const QString &name : {QString(), QStringLiteral("a2"), QStringLiteral("A2 ")}) {
        EXPECT_FALSE(host->setModel(name));
        EXPECT_EQ(host->error(), Error::UnknownModel);
        EXPECT_TRUE(host->errorString().contains("PVN410MAX")) << host->errorString().toStdString();
    }
    EXPECT_EQ(biz_CMDSWork::deviceType, before);
}

TEST_F(DeviceHostSettings, AUrlThatNamesNoLinkIsRefusedAndTheFormerLinkStays)
{
    for (const char *url : {"", "127.0.0.1:15700", "carrier://pigeon", "tcp://"}) {
        EXPECT_FALSE(host->setLink(QUrl(QString::fromLatin1(url)))) << url;
        EXPECT_EQ(host->error(), Error::InvalidUrl) << url;
        EXPECT_FALSE(host->errorString().isEmpty()) << url;
        EXPECT_EQ(makeLink(QUrl(QString::fromLatin1(url)), nullptr), nullptr) << url;
    }
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostSettings, LinkAndCodecStayWhileItRuns)
{
    start();
    EXPECT_FALSE(host->setLink(std::make_unique<FakeLink>()));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_FALSE(host->setLink(QUrl(QStringLiteral("tcp://127.0.0.1"))));
    EXPECT_FALSE(host->setCodec(std::make_unique<DemoFrameCodec>()));
    EXPECT_TRUE(host->errorString().contains("codec")) << host->errorString().toStdString();
    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostSettings, ACodecOfTheApplicationDecidesWhatCanBeSent)
{
    class ShortFrames : public DemoFrameCodec
    {
    public:
        bool canEncode(const model_Protocoldata &record) const override { return record.baData.size() <= 3; }
    };
    ASSERT_TRUE(host->setCodec(std::make_unique<ShortFrames>()));
    answerEverything();
    start();
    EXPECT_EQ(host->enqueue(makeCommand(0x68, 0x12, "four")), 0U);
    EXPECT_EQ(host->error(), Error::CannotEncode);
    EXPECT_EQ(waitForOutcome(enqueue(makeCommand(0x68, 0x12, "six"))), "answered");
}

TEST_F(DeviceHostSettings, ANullCodecIsRefused)
{
    EXPECT_FALSE(host->setCodec(nullptr));
    EXPECT_EQ(host->error(), Error::NoCodec);
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostSettings, AStartWithoutALinkIsRefused)
{
    ASSERT_TRUE(host->setLink(std::unique_ptr<DeviceLink>()));
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::NoLink);
    EXPECT_FALSE(host->isRunning());
}

TEST_F(DeviceHostSettings, ASecondStartIsRefused)
{
    start();
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_TRUE(host->isRunning());
}

// --- Why-report ---------------------------------------------------------------------------

TEST_F(DeviceHostSettings, TheHistoryTellsWhatHappenedInOrder)
{
    ASSERT_TRUE(host->setModel("A2"));
    start();
    const Ticket first = enqueue(300);
    const Ticket second = enqueue(longWaitMs);
    model_Protocoldata sent = nextCommand();
    model_Protocoldata refused = sent;
    refused.ucHead[3] = 16;
    link->reply(refused);
    link->reply(nextCommand()); // the resend
    ASSERT_TRUE(waitForEnd(first));

    const QVector<CommandEvent> history = seen.endOf(first).history;
    ASSERT_EQ(history.size(), 6) << historyOf(first).join(QStringLiteral("\n")).toStdString();
    EXPECT_EQ(history[0].text, QStringLiteral("queued with nothing before it"));
    EXPECT_EQ(history[1].text, QStringLiteral("sent with sequence byte %1").arg(sent.ucHead[0]));
    EXPECT_EQ(history[2].text, QStringLiteral("a reply came and was refused: ") + seen.of("rejected").front().why);
    EXPECT_EQ(history[3].text, QStringLiteral("resent: no acceptable reply had come within its wait"));
    EXPECT_EQ(history[4].text, QStringLiteral("a reply came and was accepted"));
    EXPECT_EQ(history[5].text, QStringLiteral("answered: ") + seen.endOf(first).reason);
    EXPECT_GE(history[3].atMs - history[1].atMs, 150.0); // the channel counts a wait as less than it is
    for (int i = 1; i < history.size(); ++i) {
        EXPECT_GE(history[i].atMs, history[i - 1].atMs) << i;
    }

    link->reply(nextCommand());
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(historyOf(second).first(), QStringLiteral("queued behind 1"));
}

TEST_F(DeviceHostSettings, EveryWayToEndIsTheLastLineOfItsHistory)
{
    CommandOptions options;
    options.replaceKey = QStringLiteral("key");
    start();
    enqueue(); // is in flight, so that the others wait
    enqueue(command(longWaitMs), options);
    enqueue(command(longWaitMs), options);
    EXPECT_TRUE(host->cancel(enqueue()));
    nextCommand();
    host->clear();
    host->setSkipping(true);
    enqueue();
    host->setSkipping(false);
    ASSERT_TRUE(waitForEnd(enqueue(shortWaitMs)));
    link->breakDown(QStringLiteral("pulled out"));
    enqueue();
    host->stop();
    enqueue();
    host->stop();
    ASSERT_TRUE(waitForAllEnds());
    QStringList outcomes;
    for (const Ticket ticket : given) {
        outcomes.append(seen.outcomeOf(ticket));
        EXPECT_EQ(historyOf(ticket).last(), outcomes.last() + QStringLiteral(": ") + seen.endOf(ticket).reason);
    }
    EXPECT_EQ(outcomes, (QStringList{"cleared", "superseded", "cleared", "cancelled", "skipped", "gaveUp",
                                     "unreachable", "stopped"}));
}

// --- Counters -----------------------------------------------------------------------------

TEST_F(DeviceHostSettings, TheCountersShowQueueRulesRoundTripsAndTheLastSighting)
{
    ASSERT_TRUE(host->setModel("A2"));
    const int deviceType = biz_CMDSWork::deviceType;
    start();
    enqueue();
    enqueue();
    const Ticket last = enqueue();
    nextCommand();
    EXPECT_EQ(host->counters().queueLength, 2);
    EXPECT_EQ(host->counters().lastSeenUtcMs, 0);
    EXPECT_LT(host->counters().roundTripMedianMs, 0.0);

    model_Protocoldata refused = link->commands.front();
    refused.ucHead[3] = 16;
    link->reply(refused);
    link->onCommand = [this](const model_Protocoldata &command) {
        link->reply(command);
    };
    link->reply(link->commands.front());
    ASSERT_TRUE(waitForEnd(last));

    const Counters counters = host->counters();
    EXPECT_EQ(counters.queueLength, 0);
    EXPECT_GE(counters.queueLengthMax, 2);
    EXPECT_LE(counters.queueLengthMax, 3);
    EXPECT_GT(counters.lastSeenUtcMs, 0);
    EXPECT_GE(counters.roundTripMinMs, 0.0);
    EXPECT_GE(counters.roundTripMedianMs, counters.roundTripMinMs);
    EXPECT_GE(counters.roundTripP99Ms, counters.roundTripMedianMs);
    EXPECT_GE(counters.roundTripMaxMs, counters.roundTripP99Ms);
    const QString rule = commandText(refused) + QStringLiteral(": ") + judgeReply(deviceType, refused).rule;
    EXPECT_EQ(counters.rejectedByRule.keys(), QStringList(rule));
    EXPECT_EQ(counters.rejectedByRule.value(rule), 1U);
}

TEST_F(DeviceHostSettings, CountersAreCopiedOnAnyThreadWhileTheHostCounts)
{
    link->onCommand = [this](const model_Protocoldata &command) {
        link->reply(command);
        link->reply(command);
    };
    start();
    std::atomic<bool> isOver{false};
    std::atomic<int> copies{0};
    std::atomic<int> contradictions{0};
    std::thread reader([&] {
        while (!isOver) {
            const Counters counters = host->counters();
            const quint64 ended = counters.answered + counters.gaveUp + counters.stopped;
            const bool isConsistent = ended <= counters.enqueued && counters.queueLength <= counters.queueLengthMax;
            contradictions += isConsistent ? 0 : 1;
            ++copies;
        }
    });
    Ticket last = 0;
    for (int i = 0; i < 30; ++i) {
        last = enqueue();
    }
    EXPECT_TRUE(waitForEnd(last));
    isOver = true;
    reader.join();
    EXPECT_GT(copies, 0);
    EXPECT_EQ(contradictions, 0);
}

TEST_F(DeviceHostSettings, CountersAreCopiedWhileTheHostsThreadIsBusy)
{
    start();
    Counters copy;
    bool wasInTime = false;
    seen.onSignal = [&](const DeviceHostRecorder::Event &event) {
        if (event.signal == "sent") {
            // This slot keeps the host's thread until the other one has its copy.
            auto other = std::async(std::launch::async, [this] { return host->counters(); });
            wasInTime = other.wait_for(std::chrono::milliseconds(patienceMs)) == std::future_status::ready;
            copy = other.get();
        }
    };
    enqueue();
    ASSERT_TRUE(waitFor([this] { return seen.count("sent") == 1; }));
    EXPECT_TRUE(wasInTime);
    EXPECT_EQ(copy.sent, 1U);
    seen.onSignal = nullptr;
}

// --- Reply matchers -----------------------------------------------------------------------

TEST_F(DeviceHostSettings, WithoutAMatcherAReplyWithAnotherSequenceByteSettlesNothing)
{
    start();
    const Ticket ticket = enqueue();
    replyWithoutSequence(nextCommand());
    ASSERT_TRUE(waitFor([this] { return seen.count("foreign") == 1; }));
    EXPECT_FALSE(seen.hasEnded(ticket));
}

TEST_F(DeviceHostSettings, TheSequenceByteMatcherIsTheDefault)
{
    ASSERT_TRUE(host->setReplyMatcher(std::make_unique<SequenceByteMatcher>()));
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    replyWithoutSequence(sent);
    ASSERT_TRUE(waitFor([this] { return seen.count("foreign") == 1; }));
    EXPECT_FALSE(seen.hasEnded(ticket));
    link->reply(sent);
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

TEST_F(DeviceHostSettings, WithoutSequenceBytesAnyReplyAnswersTheCommandInFlight)
{
    ASSERT_TRUE(host->setReplyMatcher(std::make_unique<AnyReplyMatcher>()));
    start();
    const Ticket first = enqueue();
    const Ticket second = enqueue();
    const model_Protocoldata sent = nextCommand();
    replyWithoutSequence(sent);
    EXPECT_EQ(waitForOutcome(first), "answered");
    replyWithoutSequence(nextCommand());
    EXPECT_EQ(waitForOutcome(second), "answered");

    replyWithoutSequence(sent);
    ASSERT_TRUE(waitFor([this] { return seen.count("duplicate") == 1; }));
    EXPECT_EQ(seen.of("duplicate").front().ticket, second);
}

TEST_F(DeviceHostSettings, AMatcherTellsLateAndForeignRepliesApart)
{
    ASSERT_TRUE(host->setReplyMatcher(std::make_unique<MarkMatcher>()));
    start();
    const Ticket first = enqueue(marked(command(shortWaitMs), 1));
    ASSERT_TRUE(waitForEnd(first));
    const Ticket second = enqueue(marked(command(longWaitMs), 2));
    ASSERT_TRUE(waitForCommands(3));
    const model_Protocoldata sent = link->commands.back();

    replyWithoutSequence(sent, 1); // late: to the first
    replyWithoutSequence(sent, 3); // to nobody
    ASSERT_TRUE(waitFor([this] { return seen.count("late") == 1 && seen.count("foreign") == 1; }));
    EXPECT_EQ(seen.of("late").front().ticket, first);
    EXPECT_EQ(seen.of("late").front().record.ucHead[6], 1);
    EXPECT_EQ(seen.of("foreign").front().record.ucHead[6], 3);
    EXPECT_FALSE(seen.hasEnded(second));
    replyWithoutSequence(sent, 2);
    EXPECT_EQ(waitForOutcome(second), "answered");
}

TEST_F(DeviceHostSettings, TheMatcherStaysWhileTheHostRuns)
{
    start();
    EXPECT_FALSE(host->setReplyMatcher(std::make_unique<AnyReplyMatcher>()));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_TRUE(host->errorString().contains(QStringLiteral("reply matcher"))) << host->errorString().toStdString();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    replyWithoutSequence(sent);
    ASSERT_TRUE(waitFor([this] { return seen.count("foreign") == 1; }));
    EXPECT_FALSE(seen.hasEnded(ticket));
}

// --- Threads ------------------------------------------------------------------------------

TEST_F(DeviceHostSettings, TheLoopsThreadsCarryTheNamesThatADebuggerShows)
{
    const auto names = [] {
        QStringList all;
        const QDir threads(QStringLiteral("/proc/self/task"));
        for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile file(threads.filePath(thread + QStringLiteral("/comm")));
            if (file.open(QIODevice::ReadOnly)) {
                all.append(QString::fromLatin1(file.readAll().trimmed()));
            }
        }
        return all;
    };
    EXPECT_FALSE(names().contains(QStringLiteral("biz-send")));
    start();
    EXPECT_TRUE(waitFor([&] {
        return names().contains(QStringLiteral("biz-send")) && names().contains(QStringLiteral("biz-receive"));
    })) << names().join(QLatin1Char(' ')).toStdString();
}
