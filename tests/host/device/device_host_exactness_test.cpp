#include <algorithm>
#include <array>
#include <mutex>
#include <stdexcept>

#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

int numbersUsed()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    return biz_CMDSWork::iSN;
}

std::size_t waitingInTheLibrary()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    return biz_CMDSWork::queueHexCmd.size();
}

/** Whether the command in flight has timed out once: its resend is announced within moments. */
bool isResendDue()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    return biz_CMDSWork::iTimeoutCount == 1;
}

/** Longer than the library takes from a time-out to the announcement of the resend. */
constexpr int resendMs = 60;

/** A wait time that a busy machine does not let pass unseen between two steps of a test. */
constexpr int resendableMs = 1500;

/** What is not written, and when; whatever the host's thread is busy with. */
class DeviceHostExactness : public DeviceHostFixture
{
protected:
    QStringList historyOf(Ticket ticket) const
    {
        QStringList texts;
        for (const CommandEvent &event : seen.endOf(ticket).history) {
            texts.append(event.text);
        }
        return texts;
    }

    /** Whether a line of the history begins so. */
    bool tells(Ticket ticket, const QString &beginning) const
    {
        const QStringList texts = historyOf(ticket);
        return std::any_of(texts.begin(), texts.end(), [&](const QString &text) { return text.startsWith(beginning); });
    }
};

} // namespace

// --- A busy thread -----------------------------------------------------------------------------

namespace {

struct Discarding
{
    const char *name;
    void (*call)(DeviceHost &host);
    const char *outcome;
};

void PrintTo(const Discarding &way, std::ostream *out)
{
    *out << way.name;
}

constexpr std::array<Discarding, 3> discardings{{
    {"Clear", [](DeviceHost &host) { host.clear(); }, "cleared"},
    {"Skip", [](DeviceHost &host) { host.setSkipping(true); }, "skipped"},
    {"Stop", [](DeviceHost &host) { EXPECT_TRUE(host.stop().clean()); }, "stopped"},
}};

class DeviceHostDiscarding : public DeviceHostExactness, public testing::WithParamInterface<Discarding>
{
protected:
    void expectNothingWritten()
    {
        start();
        for (int i = 0; i < 4; ++i) {
            enqueue();
        }
        // The library takes, and announces, what has been handed over.
        stayBusyFor(60);
        seen.quietly([this] { GetParam().call(*host); });
        ASSERT_TRUE(waitForAllEnds());
        for (const Ticket ticket : given) {
            EXPECT_EQ(seen.outcomeOf(ticket), GetParam().outcome);
        }
        // What the library still had has gone through it when a newer command has.
        answerEverything();
        host->setSkipping(false);
        if (!host->isRunning()) {
            ASSERT_TRUE(host->start());
        }
        ASSERT_TRUE(waitForEnd(enqueue(QByteArray("next"))));
        EXPECT_EQ(written(), QByteArrayList{"next"});
    }
};

} // namespace

TEST_P(DeviceHostDiscarding, NothingIsWrittenThoughTheThreadWasBusy)
{
    expectNothingWritten();
}

TEST_P(DeviceHostDiscarding, NothingIsWrittenThoughTheThreadWasBusyAndCommandsArePipelined)
{
    host->setPipelined(true);
    expectNothingWritten();
}

TEST_P(DeviceHostDiscarding, TheNextCommandGoesOutAfterIt)
{
    start();
    occupy();
    enqueue();
    GetParam().call(*host);
    host->setSkipping(false);
    answerEverything();
    if (host->isRunning()) {
        const std::size_t before = link->commands.size();
        if (seen.outcomeOf(*given.begin()) == "none") {
            link->reply(link->commands.at(before - 1)); // skip mode leaves what is in flight
        }
    } else {
        ASSERT_TRUE(host->start());
    }
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

INSTANTIATE_TEST_SUITE_P(Every, DeviceHostDiscarding, testing::ValuesIn(discardings),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(DeviceHostExactness, AThreadThatIsBusyForLongerThanAWaitSendsNothingStale)
{
    start();
    const Ticket stale = enqueue(shortWaitMs);
    const Ticket next = enqueue(QByteArray("next"));
    // The library takes it, resends it and gives it up.
    const int before = numbersUsed();
    stayBusy([&] { return numbersUsed() != before; });
    stayBusy([] {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        return biz_CMDSWork::bRetFlag;
    });
    answerEverything();
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(stale), "gaveUp");
    EXPECT_TRUE(seen.endOf(stale).reason.contains("busy")) << seen.endOf(stale).reason.toStdString();
    EXPECT_EQ(seen.countFor(stale, "sent"), 0);
    EXPECT_EQ(written(), QByteArrayList{"next"});
}

TEST_F(DeviceHostExactness, AResendThatWasDueBeforeTheFirstCopyWasWrittenIsNotWritten)
{
    start();
    const Ticket ticket = enqueue(resendableMs);
    stayBusy(isResendDue);
    stayBusyFor(resendMs);
    const model_Protocoldata sent = nextCommand();
    QCoreApplication::processEvents();
    EXPECT_EQ(link->commands.size(), 1U);
    link->reply(sent);
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_TRUE(tells(ticket, QStringLiteral("not resent: "))) << historyOf(ticket).join('\n').toStdString();
    EXPECT_EQ(host->counters().resent, 0U);
}

TEST_F(DeviceHostExactness, AResendThatIsDueWhenTheReplyHasComeIsNotWritten)
{
    start();
    const Ticket ticket = enqueue(resendableMs);
    const model_Protocoldata sent = nextCommand();
    stayBusy(isResendDue);
    {
        link->reply(sent);
        // The channel judges the reply no sooner than this is over.
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        stayBusyFor(resendMs);
        QCoreApplication::processEvents();
    }
    ASSERT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_GE(seen.endOf(ticket).roundTripMs, 0.0);
    EXPECT_EQ(link->commands.size(), 1U);
    EXPECT_EQ(host->counters().resent, 0U);
}

TEST_F(DeviceHostExactness, PipelinedFourCommandsAreAheadAndNoMore)
{
    constexpr int most = 4;
    answerEverything();
    host->setPipelined(true);
    start();
    const int before = numbersUsed();
    const auto taken = [&] {
        return (numbersUsed() - before + 256) % 256;
    };
    for (int i = 0; i < 3 * most; ++i) {
        enqueue();
    }
    stayBusy([&] { return taken() == most; });
    stayBusyFor(150); // a dozen passes of the send loop
    EXPECT_EQ(taken(), most);
    EXPECT_EQ(waitingInTheLibrary(), 0U);
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(host->counters().answered, given.size());
}

TEST_F(DeviceHostExactness, PipelinedCommandsAreNotResent)
{
    host->setPipelined(true);
    start();
    EXPECT_EQ(waitForOutcome(enqueue(shortWaitMs)), "released");
    EXPECT_EQ(host->counters().resent, 0U);
}

TEST_F(DeviceHostExactness, PipeliningThatComesAndGoesLosesNoCommand)
{
    start();
    for (int i = 0; i < 10; ++i) {
        host->setPipelined(i % 2 == 0);
        enqueue(shortWaitMs);
        enqueue(shortWaitMs);
        stayBusyFor(15);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(waitForAllEnds());
}

// --- Numbers -------------------------------------------------------------------------------------

TEST_F(DeviceHostExactness, AClearUsesUpNoSequenceNumber)
{
    constexpr int clears = 255;
    start();
    const Ticket cleared = enqueue();
    const model_Protocoldata clearedSent = nextCommand();
    for (int i = 0; i < clears; ++i) {
        host->clear();
    }
    const Ticket newer = enqueue(QByteArray("newer"));
    const model_Protocoldata newerSent = nextCommand();
    EXPECT_EQ(newerSent.ucHead[0], static_cast<uchar>(clearedSent.ucHead[0] + 1));
    link->reply(clearedSent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(cleared, "late") == 1; }));
    link->reply(newerSent);
    ASSERT_TRUE(waitForEnd(newer));
    EXPECT_EQ(seen.endOf(newer).reply.baData, QByteArray("newer"));
}

TEST_F(DeviceHostExactness, AReplyThatIs255CommandsLateIsStillKnownAsLate)
{
    constexpr int further = 255;
    host->setPipelined(true);
    start();
    const Ticket cancelled = enqueue();
    const model_Protocoldata sent = nextCommand();
    EXPECT_TRUE(host->cancel(cancelled));
    answerEverything();
    for (int i = 0; i < further; ++i) {
        enqueue();
    }
    ASSERT_TRUE(waitForAllEnds());
    link->reply(sent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(cancelled, "late") == 1; }));
    EXPECT_EQ(host->counters().foreign + host->counters().duplicate, 0U);
}

// --- Many ends -------------------------------------------------------------------------------------

TEST_F(DeviceHostExactness, EndsAreToldOnePerEventWithOthersBetween)
{
    constexpr int count = 100;
    for (int i = 0; i < count; ++i) {
        enqueue();
    }
    QObject other;
    int turns = 0;
    const std::function<void()> takeTurn = [&] {
        ++turns;
        QMetaObject::invokeMethod(&other, takeTurn, Qt::QueuedConnection);
    };
    takeTurn();
    std::vector<int> turnsAtEnds;
    seen.onSignal = [&](const DeviceHostRecorder::Event &event) {
        if (event.signal == "ended") {
            turnsAtEnds.push_back(turns);
        }
    };
    // Some end one by one, and some together.
    const Ticket first = *given.begin();
    for (Ticket ticket = first; ticket < first + count / 2; ++ticket) {
        EXPECT_TRUE(host->cancel(ticket));
    }
    host->clear();
    ASSERT_TRUE(waitForAllEnds());
    seen.onSignal = nullptr;
    ASSERT_EQ(turnsAtEnds.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(std::adjacent_find(turnsAtEnds.begin(), turnsAtEnds.end()), turnsAtEnds.end())
        << "two ends were told in one turn";
}

// Without the recorder, which would keep a million results.
TEST(DeviceHostMillion, ADiscardOfAMillionWaitingCommandsCostsNothingForEach)
{
    constexpr quint64 count = 1000000;
    constexpr int toBeHeard = 1000;
    constexpr int generousMs = 1000; // moments for the call, seconds if it looked at each
    for (const Discarding &way : discardings) {
        SCOPED_TRACE(way.name);
        DeviceHost host;
        ASSERT_TRUE(host.setLink(std::make_unique<FakeLink>()));
        for (quint64 i = 0; i < count; ++i) {
            ASSERT_NE(host.enqueue(makeCommand(0x68, 0x12)), 0U);
        }
        int heard = 0;
        QObject::connect(&host, &DeviceHost::ended, &host, [&](Ticket, const CommandResult &result) {
            heard += outcomeName(result.outcome) == way.outcome ? 1 : 0;
        });
        QElapsedTimer clock;
        clock.start();
        way.call(host);
        EXPECT_LT(clock.elapsed(), generousMs);
        EXPECT_EQ(host.pending(), 0);
        const Counters totals = host.counters();
        EXPECT_EQ(totals.cleared + totals.skipped + totals.stopped, count);
        EXPECT_EQ(heard, 0);
        EXPECT_TRUE(waitFor([&] { return heard >= toBeHeard; }));
    }
}

// --- Links that misbehave ----------------------------------------------------------------------------

TEST_F(DeviceHostExactness, ALinkThatThrowsCostsOneCommandAndNoMore)
{
    start();
    link->onCommand = [](const model_Protocoldata & /*command*/) {
        throw std::runtime_error("the driver is out of order");
    };
    const Ticket failed = enqueue(shortWaitMs);
    ASSERT_EQ(waitForOutcome(failed), "gaveUp");
    EXPECT_TRUE(seen.endOf(failed).reason.contains("out of order")) << seen.endOf(failed).reason.toStdString();
    EXPECT_EQ(seen.countFor(failed, "sent"), 0);

    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostExactness, ALinkThatThrowsWhatIsNoExceptionHarmsNothing)
{
    start();
    link->onCommand = [](const model_Protocoldata & /*command*/) {
        throw 42;
    };
    EXPECT_EQ(waitForOutcome(enqueue(shortWaitMs)), "gaveUp");
}

TEST_F(DeviceHostExactness, ALinkThatDoesNotTakeThePreambleHoldsNoCommandBack)
{
    answerEverything();
    link->refusals = 1;
    const Ticket ticket = enqueue();
    start();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

TEST_F(DeviceHostExactness, ALinkThatTellsOfItsCloseWithinItsCloseHarmsNothing)
{
    link->tellsOfClose = true;
    answerEverything();
    for (int round = 0; round < 3; ++round) {
        start();
        EXPECT_EQ(waitForOutcome(enqueue()), "answered");
        EXPECT_TRUE(host->stop().clean());
        EXPECT_EQ(host->linkStatus().state, LinkState::Closed);
    }
    start();
    host.reset();
    makeHost();
    EXPECT_TRUE(host->isValid());
}

// --- Calls in slots of the link, which it may call within its write() --------------------------------------

namespace {

struct WithinWrite
{
    bool isClosed;   ///< the slot is one of closed(), or of received()
    bool comesFirst; ///< the slot is called before the host's own
    bool isPipelined;
    const char *call; ///< what it calls
};

void PrintTo(const WithinWrite &value, std::ostream *out)
{
    *out << (value.isClosed ? "closed" : "received") << (value.comesFirst ? "First" : "Last")
         << (value.isPipelined ? "Pipelined" : "Gated") << value.call;
}

std::vector<WithinWrite> allWithinWrite()
{
    std::vector<WithinWrite> all;
    for (const char *call : {"Stop", "StopAndStart", "Clear", "Cancel", "Skip", "Enqueue"}) {
        for (unsigned bits = 0; bits < 8; ++bits) {
            all.push_back({(bits & 1U) != 0, (bits & 2U) != 0, (bits & 4U) != 0, call});
        }
    }
    return all;
}

class DeviceHostWithinWrite : public DeviceHostFixture, public testing::WithParamInterface<WithinWrite>
{
protected:
    void connectSlot()
    {
        if (GetParam().isClosed) {
            QObject::connect(link, &DeviceLink::closed, host.get(), [this] { act(); });
        } else {
            QObject::connect(link, &DeviceLink::received, host.get(), [this] { act(); });
        }
    }

    void act()
    {
        if (std::exchange(m_isDone, true)) {
            return;
        }
        const QByteArray call = GetParam().call;
        if (call.startsWith("Stop")) {
            EXPECT_TRUE(host->stop().clean());
            if (call == "StopAndStart") {
                EXPECT_TRUE(host->start());
            }
        } else if (call == "Clear") {
            host->clear();
        } else if (call == "Skip") {
            host->setSkipping(true);
        } else if (call == "Enqueue") {
            enqueue();
        } else {
            for (const Ticket ticket : given) {
                host->cancel(ticket);
            }
        }
    }

private:
    bool m_isDone = false;
};

} // namespace

TEST_P(DeviceHostWithinWrite, IsSafeAndTheHostGoesOn)
{
    ASSERT_TRUE(host->setReconnectInterval(1));
    host->setPipelined(GetParam().isPipelined);
    link->onCommand = [this](const model_Protocoldata &command) {
        link->onCommand = nullptr;
        if (GetParam().isClosed) {
            link->breakDown(QStringLiteral("within the write"));
        } else {
            link->reply(command);
        }
    };
    if (GetParam().comesFirst) {
        connectSlot();
    }
    start();
    if (!GetParam().comesFirst) {
        connectSlot();
    }
    enqueue();
    enqueue();
    ASSERT_TRUE(waitFor([this] { return link->onCommand == nullptr; }));

    answerEverything();
    host->setSkipping(false);
    host->clear();
    ASSERT_TRUE(waitForAllEnds());
    if (!host->isRunning()) {
        ASSERT_TRUE(host->start());
    }
    ASSERT_TRUE(waitFor([this] { return host->linkStatus().state == LinkState::Up; }));
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

INSTANTIATE_TEST_SUITE_P(Every, DeviceHostWithinWrite, testing::ValuesIn(allWithinWrite()),
                         [](const auto &test) { return testing::PrintToString(test.param); });
