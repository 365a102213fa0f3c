#include <thread>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include "on_thread.h"
#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdHost : public OsdHostFixture
{
};

/** The channel looks at its devices twice a second. */
constexpr int timeoutPeriodMs = 500;

} // namespace

// --- Outcomes -------------------------------------------------------------------------

TEST_F(OsdHost, AnAnsweredCommandEndsWithItsReplyAndRoundTrip)
{
    OsdDevice &one = device(1);
    start();
    const Ticket ticket = enqueue(one, answeredWaitMs, "shown");
    ASSERT_TRUE(waitForEnd(ticket));
    const OsdCommandResult result = ends[ticket].front();
    EXPECT_EQ(result.outcome, Outcome::Answered);
    EXPECT_EQ(result.ip, one.ip);
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(result.reply.baData, QByteArray("shown"));
    EXPECT_EQ(result.reply.qsIp, one.ip);
    EXPECT_GE(result.roundTripMs, 0.0);
    EXPECT_TRUE(waitFor([&] { return count("received") == 1; }));
}

TEST_F(OsdHost, CommandsOfOneDeviceGoOutOneByOneInTheOrderGiven)
{
    OsdDevice &one = device(1);
    start();
    constexpr std::size_t commands = 20;
    for (std::size_t i = 0; i < commands; ++i) {
        enqueue(one, answeredWaitMs, QByteArray::number(static_cast<int>(i)));
    }
    ASSERT_TRUE(waitFor([&] { return ends.size() == commands; }));
    for (std::size_t i = 0; i < commands; ++i) {
        EXPECT_EQ(one.commands.at(i).baData, QByteArray::number(static_cast<int>(i)));
    }
    EXPECT_EQ(host->counters().answered, commands);
}

TEST_F(OsdHost, ASilentDevicesCommandIsGivenUpAndItsNextGoesOut)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket silent = enqueue(one, silentWaitMs, "silent");
    const Ticket next = enqueue(one, answeredWaitMs, "next");
    ASSERT_TRUE(waitForEnd(silent));
    EXPECT_EQ(outcomeOf(silent), "gaveUp");
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(outcomeOf(next), "answered");
}

TEST_F(OsdHost, AGivenUpCommandEndsWithoutAnotherBehindIt)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, silentWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "gaveUp");
}

TEST_F(OsdHost, SilentDevicesDelayNoOther)
{
    constexpr int devicesEach = 10;
    constexpr int commandsEach = 5;
    for (int i = 0; i < 2 * devicesEach; ++i) {
        device(i).answers = i % 2 == 0;
    }
    start();
    std::set<Ticket> toAnswer;
    for (int round = 0; round < commandsEach; ++round) {
        for (int i = 0; i < 2 * devicesEach; ++i) {
            const Ticket ticket = enqueue(device(i), 60000);
            if (i % 2 == 0) {
                toAnswer.insert(ticket);
            }
        }
    }
    const auto areAllAnswered = [&] {
        return std::all_of(toAnswer.begin(), toAnswer.end(), [&](Ticket ticket) { return ends.count(ticket) != 0; });
    };
    ASSERT_TRUE(waitFor(areAllAnswered));
    EXPECT_EQ(host->counters().answered, toAnswer.size());
    EXPECT_EQ(ends.size(), toAnswer.size());
}

TEST_F(OsdHost, AClearEndsEverythingAndForgetsTheDevices)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket inFlight = enqueue(one, 60000);
    const Ticket waiting = enqueue(one, 60000);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    host->clear();
    EXPECT_EQ(host->pending(), 0);
    one.answers = true;
    const Ticket next = enqueue(one);
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(outcomeOf(inFlight), "cleared");
    EXPECT_EQ(outcomeOf(waiting), "cleared");
    EXPECT_EQ(outcomeOf(next), "answered");
}

TEST_F(OsdHost, AStopEndsEverything)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket inFlight = enqueue(one, 60000);
    const Ticket waiting = enqueue(one, 60000);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    const StopReport report = host->stop();
    EXPECT_TRUE(report.clean());
    EXPECT_EQ(report.pending, 2);
    ASSERT_TRUE(waitForEnd(waiting));
    EXPECT_EQ(outcomeOf(inFlight), "stopped");
    EXPECT_EQ(outcomeOf(waiting), "stopped");
}

TEST_F(OsdHost, CommandsGivenBeforeTheStartGoOutAfterIt)
{
    OsdDevice &one = device(1);
    const Ticket ticket = enqueue(one);
    EXPECT_EQ(host->waiting(), 1);
    start();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
}

TEST_F(OsdHost, ACommandWithoutAWaitGetsTheDefault)
{
    OsdDevice &one = device(1);
    host->setDefaultWaitTime(answeredWaitMs);
    start();
    const Ticket ticket = enqueue(one, 0);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(first("sent").record.iWaitTime, answeredWaitMs);
}

// --- Addresses --------------------------------------------------------------------------

TEST_F(OsdHost, OtherSpellingsOfAnAddressAreRefusedWithTheCanonicalOne)
{
    const std::vector<std::pair<QString, QString>> spellings{
        {"127.1", "127.0.0.1"},
        {"127.000.0.1", "127.0.0.1"},
        {" 127.0.0.1", ""},
        {"0:0:0:0:0:0:0:1", "::1"},
        {"::FFFF:127.0.0.1", "127.0.0.1"},
        {"::ffff:127.0.0.1", "127.0.0.1"},
        {"localhost", ""},
        {"", ""},
    };
    for (const auto &spelling : spellings) {
        SCOPED_TRACE(spelling.first.toStdString());
        EXPECT_EQ(host->enqueue(command(spelling.first, answeredWaitMs)), 0U);
        EXPECT_TRUE(host->errorString().contains(spelling.second.isEmpty() ? QStringLiteral("not") : spelling.second))
            << host->errorString().toStdString();
    }
    EXPECT_EQ(host->pending(), 0);
}

TEST_F(OsdHost, APayloadThatFitsNoDatagramIsRefused)
{
    const QByteArray tooLong(OsdDatagramCodec::maxPayload + 1, 'x');
    EXPECT_EQ(host->enqueue(command("127.0.0.1", answeredWaitMs, tooLong)), 0U);
    EXPECT_TRUE(host->errorString().contains("65000")) << host->errorString().toStdString();
}

TEST_F(OsdHost, ALocalAddressThatIsNoneIsRefused)
{
    host->setLocalAddress("here");
    EXPECT_TRUE(host->errorString().contains("here"));
    host->setLocalAddress("127.0.0.1");
    OsdDevice &one = device(1);
    start();
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
}

TEST_F(OsdHost, AnAddressThatIsNotOursCannotBeBound)
{
    host->setLocalAddress("192.0.2.1");
    EXPECT_FALSE(host->start());
    EXPECT_TRUE(host->errorString().contains("192.0.2.1")) << host->errorString().toStdString();
    EXPECT_FALSE(host->isRunning());
}

// --- Replies -------------------------------------------------------------------------------

TEST_F(OsdHost, AnUnknownSenderIsReportedAndNotObeyed)
{
    OsdDevice &one = device(1);
    OsdDevice &stranger = device(2);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, 60000);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    stranger.learnHostFrom(one);
    stranger.reply(one.commands.front());
    ASSERT_TRUE(waitFor([&] { return count("foreign") == 1; }));
    EXPECT_EQ(first("foreign").text, stranger.ip);
    EXPECT_EQ(ends.count(ticket), 0U);
    EXPECT_EQ(host->counters().foreign, 1U);
    one.reply(one.commands.front());
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_TRUE(waitFor([&] { return count("received") == 1; }));
    EXPECT_EQ(first("received").record.qsIp, one.ip);
}

TEST_F(OsdHost, ADatagramThatIsNoFrameIsReported)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, 60000);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.send("garbage");
    ASSERT_TRUE(waitFor([&] { return count("refused") == 1; }));
    EXPECT_EQ(first("refused").text, one.ip);
    EXPECT_EQ(ends.count(ticket), 0U);
    EXPECT_EQ(host->counters().refusedBytes, 7U);
}

TEST_F(OsdHost, ASecondReplyIsADuplicateAndKeptOnlyByThePolicy)
{
    OsdDevice &one = device(1);
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep);
        makeHost();
        host->setPort(one.port());
        host->setKeepUnmatchedReplies(keep);
        start();
        const Ticket ticket = enqueue(one);
        ASSERT_TRUE(waitForEnd(ticket));
        one.reply(command(one.ip, 0, "again"));
        ASSERT_TRUE(waitFor([&] { return count("duplicate") == 1; }));
        EXPECT_EQ(first("duplicate").ticket, ticket);
        // One more command shows what has passed the channel before its reply.
        const Ticket last = enqueue(one, answeredWaitMs, "last");
        ASSERT_TRUE(waitForEnd(last));
        const int expected = keep ? 3 : 2;
        ASSERT_TRUE(waitFor([&] { return count("received") == expected; }));
        EXPECT_EQ(events.back().record.baData, QByteArray("last"));
    }
}

TEST_F(OsdHost, AReplyAfterTheGiveUpIsLateAndSettlesNothing)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, silentWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "gaveUp");
    one.reply(one.commands.front());
    ASSERT_TRUE(waitFor([&] { return count("late") == 1; }));
    EXPECT_EQ(first("late").ticket, ticket);
    EXPECT_GE(first("late").afterEndMs, 0.0);
}

// The application was busy for so long that the channel has given the first command up and
// taken the second; the reply to the first is older than the second's sending.
TEST_F(OsdHost, AReplyThatWaitedInTheSocketIsNotTakenForTheNextCommands)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket first = enqueue(one, silentWaitMs, "first");
    const Ticket second = enqueue(one, 60000, "second");
    const Ticket third = enqueue(one, 60000, "third");
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.reply(one.commands.front());
    QThread::msleep(2UL * timeoutPeriodMs); // the busy application
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    ASSERT_TRUE(waitForEnd(first));
    EXPECT_EQ(outcomeOf(first), "answered");
    EXPECT_EQ(one.commands.back().baData, QByteArray("second"));
    EXPECT_EQ(ends.count(second), 0U);

    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(ends[second].front().reply.baData, QByteArray("second"));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 3; }));
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(third));
    EXPECT_EQ(ends[third].front().reply.baData, QByteArray("third"));
}

TEST_F(OsdHost, AFloodOfDatagramsDoesNotKeepTheEventLoop)
{
    OsdDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    constexpr int flood = 3000;
    for (int i = 0; i < flood; ++i) {
        one.send("junk");
    }
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
}

// The receive loop takes one in 5 ms, so replies can come faster than it takes them.
TEST_F(OsdHost, WhatWaitsForReceivedIsBoundedAndWhatIsDroppedIsCounted)
{
    constexpr std::size_t mostWaiting = 100000;
    constexpr std::size_t beyond = 1000;
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        for (std::size_t i = 0; i < mostWaiting + beyond; ++i) {
            biz_Osd_CMDSWork::receivequeueHexCmd.push(command(one.ip, 0, "older"));
        }
    }
    one.reply(one.commands.front());
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        EXPECT_LE(biz_Osd_CMDSWork::receivequeueHexCmd.size(), mostWaiting);
        EXPECT_NE(biz_Osd_CMDSWork::receivequeueHexCmd.back().baData, QByteArray("older")) << "the newest is kept";
    }
    EXPECT_GT(host->counters().dropped, 0U);
    EXPECT_LE(host->counters().dropped, beyond + 1);
}

// --- Devices -------------------------------------------------------------------------------

TEST_F(OsdHost, TheStatusShowsEachDevicesShare)
{
    OsdDevice &talker = device(1);
    OsdDevice &silent = device(2);
    silent.answers = false;
    start();
    ASSERT_TRUE(waitForEnd(enqueue(talker)));
    enqueue(silent, 60000);
    enqueue(silent, 60000);
    ASSERT_TRUE(waitFor([&] { return silent.commands.size() == 1; }));
    const QVector<biz_OsdHost::DeviceStatus> status = host->devices();
    ASSERT_EQ(status.size(), 2);
    EXPECT_EQ(status[0].ip, talker.ip);
    EXPECT_EQ(status[0].counters.answered, 1U);
    EXPECT_FALSE(status[0].inFlight);
    EXPECT_GE(status[0].roundTripMedianMs, 0.0);
    EXPECT_GE(status[0].roundTripMaxMs, status[0].roundTripMedianMs);
    EXPECT_EQ(status[1].ip, silent.ip);
    EXPECT_TRUE(status[1].inFlight);
    EXPECT_EQ(status[1].waiting, 1);
    EXPECT_LT(status[1].roundTripMedianMs, 0.0);
}

TEST_F(OsdHost, AnAddressThatCannotBeSentToIsReportedAndLeftToItsTimeOut)
{
    host->setLocalAddress("127.0.0.1");
    start();
    const Ticket ticket = enqueue(command("::1", silentWaitMs));
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "gaveUp");
    EXPECT_TRUE(ends[ticket].front().reason.contains("could not be sent"));
    EXPECT_EQ(count("socketError"), 1);
    EXPECT_EQ(count("sent"), 0);
}

// --- One per process -------------------------------------------------------------------------

TEST_F(OsdHost, ASecondHostIsRefusedAndChangesNothing)
{
    OsdDevice &one = device(1);
    {
        biz_OsdHost second;
        EXPECT_FALSE(second.isValid());
        EXPECT_TRUE(second.errorString().contains("held"));
        EXPECT_FALSE(second.start());
        EXPECT_EQ(second.enqueue(command(one.ip, answeredWaitMs)), 0U);
        second.clear();
        EXPECT_TRUE(second.stop().clean());
    }
    start();
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(outcomeOf(ticket), "answered");
}

TEST_F(OsdHost, AHostThatIsMovedToAnotherThreadSpeaksThere)
{
    QThread thread;
    OsdDevice &one = device(1);
    host.reset();
    host = std::make_unique<biz_OsdHost>(); // unheard by the fixture, which stays on this thread
    host->setPort(one.port());
    QObject context;
    context.moveToThread(&thread);
    host->moveToThread(&thread);
    thread.start();
    std::atomic<bool> answered{false};
    QObject::connect(
        host.get(), &biz_OsdHost::ended, host.get(),
        [&](Ticket, const OsdCommandResult &result) {
            answered = QThread::currentThread() == &thread && result.outcome == Outcome::Answered;
        },
        Qt::DirectConnection);
    runOnThreadOf(&context, [&] {
        EXPECT_TRUE(host->start());
        host->enqueue(command(one.ip, answeredWaitMs));
    });
    EXPECT_TRUE(waitFor([&] { return answered.load(); }));
    runOnThreadOf(&context, [&] { host.reset(); });
    thread.quit();
    thread.wait();
}

// --- Life ----------------------------------------------------------------------------------------

TEST_F(OsdHost, AStartWaitsOutTheFormerTimeOutThread)
{
    OsdDevice &one = device(1);
    one.answers = false;
    start();
    host->stop();
    QElapsedTimer clock;
    clock.start();
    start();
    EXPECT_GE(clock.elapsed(), timeoutPeriodMs);
    // The former thread's last pass would free the device that the new run has just sent to.
    const Ticket first = enqueue(one, 60000);
    const Ticket second = enqueue(one, 60000);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    EXPECT_FALSE(waitFor([&] { return ends.count(first) != 0 || one.commands.size() > 1; }, 2 * timeoutPeriodMs));
    EXPECT_EQ(ends.count(second), 0U);
}

TEST_F(OsdHost, AStopWhileAStartWaitsLeavesNothingRunning)
{
    start();
    host->stop();
    ASSERT_TRUE(host->start());
    EXPECT_TRUE(host->isRunning());
    EXPECT_TRUE(host->stop().clean());
    EXPECT_FALSE(host->isRunning());
    EXPECT_FALSE(waitFor([&] { return count("started") > 1; }, 2 * timeoutPeriodMs));
}

TEST_F(OsdHost, AHastyStopIsFollowedByAStartLikeAnyOther)
{
    OsdDevice &one = device(1);
    for (int round = 0; round < 3; ++round) {
        start();
        host->stop(0);
        // The loops of the former run have not returned yet, and must not take this one.
        const Ticket ticket = enqueue(one);
        start();
        ASSERT_TRUE(waitForEnd(ticket)) << round;
        EXPECT_EQ(outcomeOf(ticket), "answered");
        host->stop();
    }
}

TEST_F(OsdHost, ASecondStopFindsNothing)
{
    OsdDevice &one = device(1);
    start();
    enqueue(one);
    host->stop();
    const StopReport second = host->stop();
    EXPECT_TRUE(second.clean());
    EXPECT_EQ(second.pending, 0);
}

TEST_F(OsdHost, DestructionIsSafeInEveryState)
{
    enum State { Fresh, Waiting, Idle, InFlight, GivingUp, Stopped, StartingAgain, states };
    OsdDevice &one = device(1);
    one.answers = false;
    for (int state = Fresh; state < states; ++state) {
        SCOPED_TRACE(state);
        makeHost();
        if (state == Waiting) {
            host->start();
        } else if (state != Fresh) {
            start();
        }
        if (state >= InFlight) {
            one.commands.clear();
            host->enqueue(command(one.ip, state == InFlight ? 60000 : silentWaitMs));
            host->enqueue(command(one.ip, 60000));
            ASSERT_TRUE(waitFor([&] { return !one.commands.empty(); }));
        }
        if (state >= Stopped) {
            host->stop();
        }
        if (state == StartingAgain) {
            host->start();
        }
        host.reset();
        events.clear();
        ends.clear();
    }
}

TEST_F(OsdHost, NothingOfAStoppedRunIsLeftInTheChannel)
{
    OsdDevice &one = device(1);
    start();
    enqueue(one);
    host->stop();
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    EXPECT_TRUE(biz_Osd_CMDSWork::m_qsIp.isEmpty());
    EXPECT_TRUE(biz_Osd_CMDSWork::queueHexCmd.isEmpty());
    EXPECT_TRUE(biz_Osd_CMDSWork::m_bRetFlag.isEmpty());
}

// The event that an announcement has posted comes behind the stop.
TEST_F(OsdHost, AnAnnouncementThatNobodyHasLookedAtYetAsksNothingOfASocketThatAStopHasClosed)
{
    static QStringList complaints;
    complaints.clear();
    OsdDevice &one = device(1);
    start();
    enqueue(one);
    const auto isTaken = [&one] {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
        return !biz_Osd_CMDSWork::m_bRetFlag.value(one.ip, true);
    };
    for (const QDeadlineTimer patience(patienceMs); !isTaken();) { // without the event loop
        ASSERT_FALSE(patience.hasExpired());
        std::this_thread::yield();
    }
    const auto before = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg) {
            complaints.append(text);
        }
    });
    EXPECT_TRUE(host->stop().clean());
    QCoreApplication::processEvents();
    qInstallMessageHandler(before);
    EXPECT_EQ(complaints, QStringList());
}

// Each start but the first waits out the former time-out thread.
TEST_F(OsdHost, FiftyStartsAndStops)
{
    OsdDevice &one = device(1);
    constexpr int rounds = 50;
    for (int round = 0; round < rounds; ++round) {
        start();
        const Ticket ticket = enqueue(one);
        if (round % 2 == 0) {
            ASSERT_TRUE(waitForEnd(ticket));
        }
        ASSERT_TRUE(host->stop().clean()) << round;
    }
}

// --- From inside a slot -------------------------------------------------------------------

namespace {

enum class Way { Stop, StopAndStart, DeleteLater, Delete };

struct FromSlot
{
    const char *signal;
    Way way;
};

std::ostream &operator<<(std::ostream &out, const FromSlot &value)
{
    return out << value.signal << "/" << static_cast<int>(value.way);
}

std::string nameOf(const testing::TestParamInfo<FromSlot> &info)
{
    static const char *const ways[] = {"Stop", "StopAndStart", "DeleteLater", "Delete"};
    return std::string(info.param.signal) + "_" + ways[static_cast<int>(info.param.way)];
}

std::vector<FromSlot> everySignalEveryWay()
{
    std::vector<FromSlot> all;
    for (const char *signal :
         {"started", "sent", "ended", "late", "duplicate", "foreign", "refused", "received", "socketError"}) {
        for (const Way way : {Way::Stop, Way::StopAndStart, Way::DeleteLater, Way::Delete}) {
            all.push_back({signal, way});
        }
    }
    return all;
}

class OsdHostFromSlot : public OsdHostFixture, public testing::WithParamInterface<FromSlot>
{
protected:
    /** Makes every signal happen, time and again, as long as the host runs. */
    void makeEverythingHappen()
    {
        OsdDevice &talker = device(1);
        OsdDevice &silent = device(2);
        OsdDevice &stranger = device(3);
        silent.answers = false;
        host->setLocalAddress("127.0.0.1");
        enqueue(silent, silentWaitMs);
        enqueue(command("::1", silentWaitMs)); // no way there from an IPv4 address
        QObject::connect(&m_pulse, &QTimer::timeout, [this, &talker, &silent, &stranger] {
            if (!host || m_done) {
                return;
            }
            if (!talker.commands.empty() && outcomeOf(1) != "none") {
                stranger.learnHostFrom(talker);
                stranger.reply({});
                talker.reply({});
                talker.send("garbage");
                silent.reply({});
            }
            if (talker.commands.empty() && given.size() < 4) {
                enqueue(talker);
            }
        });
        constexpr int pulseMs = 50;
        m_pulse.start(pulseMs);
    }

    void act()
    {
        m_done = true;
        m_pulse.stop();
        switch (GetParam().way) {
        case Way::Stop:
            EXPECT_TRUE(host->stop().clean());
            break;
        case Way::StopAndStart:
            EXPECT_TRUE(host->stop().clean());
            EXPECT_TRUE(host->start());
            break;
        case Way::DeleteLater:
            host.release()->deleteLater();
            break;
        case Way::Delete:
            host.reset();
            break;
        }
    }

    bool m_done = false;
    QTimer m_pulse;
};

} // namespace

TEST_P(OsdHostFromSlot, IsSafe)
{
    const QPointer<biz_OsdHost> alive(host.get());
    onSignal = [this](const Event &event) {
        if (!m_done && event.signal == GetParam().signal) {
            act();
        }
    };
    makeEverythingHappen();
    ASSERT_TRUE(host->start());
    ASSERT_TRUE(waitFor([&] { return m_done; })) << "the signal never came";
    if (GetParam().way == Way::Delete || GetParam().way == Way::DeleteLater) {
        EXPECT_TRUE(waitFor([&] { return alive.isNull(); }));
        for (const auto &end : ends) {
            EXPECT_EQ(end.second.size(), 1U);
        }
        given.clear();
        ends.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, OsdHostFromSlot, testing::ValuesIn(everySignalEveryWay()), nameOf);
