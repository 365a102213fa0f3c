#include <algorithm>
#include <limits>

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>

#include "scripted_link.h"
#include "supervised_link.h"

namespace {

using namespace biz::host;
using namespace biz::test;
using namespace std::chrono_literals;

class LinkSupervisorTest : public SupervisedLink
{
protected:
    LinkSupervisorTest()
    {
        supervisor.setLink(std::unique_ptr<DeviceLink>(link));
        supervisor.setReconnectInterval(soon);
    }

    void startUp()
    {
        supervisor.start();
        ASSERT_TRUE(waitForUp());
        told.clear();
    }

    /** What the link gets from now on stays in it. */
    void holdAll()
    {
        link->inWrite = [this](const QByteArray &bytes) {
            link->held += bytes.size();
            return true;
        };
    }

    static constexpr auto soon = 10ms;
    static constexpr auto never = 1h;

    ScriptedLink *const link = new ScriptedLink;
};

} // namespace

TEST_F(LinkSupervisorTest, IsConnectingFromTheStartAndUpOnceTheLinkIsOpen)
{
    EXPECT_EQ(supervisor.status().state, LinkState::Closed);
    supervisor.start();
    EXPECT_EQ(supervisor.status().state, LinkState::Connecting);
    ASSERT_TRUE(waitForUp());
    EXPECT_EQ(told, (QStringList{"Connecting", "Up", "up"}));
    EXPECT_EQ(supervisor.status().attempts, 1);
    EXPECT_EQ(supervisor.status().error, Error::None);
}

TEST_F(LinkSupervisorTest, AFirstAttemptThatFailsIsALoss)
{
    link->opening = ScriptedLink::Opening::Fails;
    supervisor.start();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_EQ(told, (QStringList{"Connecting", "Lost", "lost"}));
    EXPECT_EQ(losses.first().error, Error::LinkCannotOpen);
    EXPECT_EQ(losses.first().reason, QStringLiteral("nobody is there"));
    EXPECT_EQ(losses.first().attempts, 1);
}

TEST_F(LinkSupervisorTest, TheLongestIntervalStillEndsInAnAttempt)
{
    link->opening = ScriptedLink::Opening::Fails;
    supervisor.start();
    ASSERT_TRUE(waitForLosses(1));
    const auto timers = supervisor.findChildren<QTimer *>();
    const auto isAttemptDue = [&timers] {
        return std::any_of(timers.begin(), timers.end(),
                           [](const QTimer *timer) { return timer->isSingleShot() && timer->timerId() > 0; });
    };
    constexpr int enoughForTheJitter = 50;
    for (int i = 0; i < enoughForTheJitter; ++i) {
        supervisor.setReconnectInterval(Milliseconds(std::numeric_limits<int>::max()));
        ASSERT_TRUE(isAttemptDue()) << i;
    }
}

TEST_F(LinkSupervisorTest, FurtherFailedAttemptsAreOnlyCounted)
{
    link->opening = ScriptedLink::Opening::Fails;
    supervisor.start();
    ASSERT_TRUE(waitFor([this] { return supervisor.status().attempts >= 5; }));
    EXPECT_EQ(told, (QStringList{"Connecting", "Lost", "lost"}));
    EXPECT_EQ(supervisor.status().reason, QStringLiteral("nobody is there"));

    link->opening = ScriptedLink::Opening::Succeeds;
    ASSERT_TRUE(waitForUp());
    EXPECT_EQ(supervisor.status().attempts, link->opens);
}

TEST_F(LinkSupervisorTest, AnOpenThatThrowsIsAFailedAttempt)
{
    link->opening = ScriptedLink::Opening::Throws;
    supervisor.start();
    ASSERT_TRUE(waitFor([this] { return supervisor.status().attempts >= 2; }));
    EXPECT_EQ(losses.size(), 1);
    EXPECT_EQ(losses.first().reason, QStringLiteral("cannot open scripted:: no such line"));
}

TEST_F(LinkSupervisorTest, ALossIsToldOnceAndTheLinkComesBack)
{
    startUp();
    link->breakDown(QStringLiteral("pulled out"));
    EXPECT_EQ(told, (QStringList{"Lost", "lost"}));
    EXPECT_EQ(losses.first().error, Error::LinkClosed);
    EXPECT_EQ(losses.first().reason, QStringLiteral("pulled out"));
    EXPECT_EQ(losses.first().attempts, 0);
    ASSERT_TRUE(waitForUp());
    EXPECT_EQ(told, (QStringList{"Lost", "lost", "Up", "up"}));
}

TEST_F(LinkSupervisorTest, TheNextAttemptFollowsTheIntervalWithinItsJitter)
{
    supervisor.setReconnectInterval(200ms);
    startUp();
    QElapsedTimer clock;
    clock.start();
    link->breakDown({});
    ASSERT_TRUE(waitForUp());
    EXPECT_GE(clock.elapsed(), 170); // less a tenth; and a coarse timer may be early by its own twentieth
    EXPECT_LE(clock.elapsed(), 231 + 500);
}

TEST_F(LinkSupervisorTest, AnIntervalOfZeroMakesNoFurtherAttempt)
{
    supervisor.setReconnectInterval(0ms);
    startUp();
    link->breakDown({});
    EXPECT_FALSE(waitFor([this] { return link->opens > 1; }, 50));
    supervisor.setReconnectInterval(soon);
    EXPECT_TRUE(waitForUp());
}

TEST_F(LinkSupervisorTest, AStopIsToldOnceAndNothingIsToldAfterIt)
{
    link->tellsOfItsOwnClose = true;
    startUp();
    supervisor.stop();
    EXPECT_EQ(told, QStringList{"Closed"});
    link->breakDown({});
    Q_EMIT link->received("late");
    EXPECT_FALSE(waitFor([this] { return told.size() > 1; }, 50));
    EXPECT_EQ(received, QByteArray());
    EXPECT_EQ(link->opens, 1);
}

TEST_F(LinkSupervisorTest, AStopWhileItIsOpeningLeavesItClosed)
{
    supervisor.start();
    supervisor.stop();
    EXPECT_FALSE(waitFor([this] { return supervisor.isUp(); }, 50));
    EXPECT_EQ(told, (QStringList{"Connecting", "Closed"}));
}

TEST_F(LinkSupervisorTest, AStopInTheSlotThatHearsOfTheStartOpensNoLink)
{
    QObject::connect(&supervisor, &LinkSupervisor::stateChanged, &supervisor, [this](const LinkStatus &status) {
        if (status.state == LinkState::Connecting) {
            supervisor.stop();
        }
    });
    supervisor.start();
    EXPECT_EQ(link->opens, 0);
    EXPECT_EQ(told, (QStringList{"Connecting", "Closed"}));
}

TEST_F(LinkSupervisorTest, AStopThrowsAwayWhatTheLinkHolds)
{
    startUp();
    link->held = 1;
    supervisor.stop();
    EXPECT_EQ(link->discards, 1);
}

TEST_F(LinkSupervisorTest, CanBeStoppedAndStartedFromTheSlotThatHearsOfTheLoss)
{
    startUp();
    QObject::connect(&supervisor, &LinkSupervisor::stateChanged, &supervisor, [this](const LinkStatus &status) {
        if (status.state == LinkState::Lost) {
            supervisor.stop();
            supervisor.start();
        }
    });
    link->breakDown({});
    ASSERT_TRUE(waitForUp());
    // The loss is over when its own signal would follow.
    EXPECT_EQ(told, (QStringList{"Lost", "Closed", "Connecting", "Up", "up"}));
    EXPECT_EQ(link->opens, 2);
}

TEST_F(LinkSupervisorTest, CanBeGivenAnotherLinkFromWithinTheWriteOfTheFormerOne)
{
    startUp();
    const QPointer<DeviceLink> former = link;
    link->inWrite = [this](const QByteArray &) {
        link->breakDown(QStringLiteral("inside"));
        return true;
    };
    QObject::connect(&supervisor, &LinkSupervisor::lost, &supervisor,
                     [this] { supervisor.setLink(std::make_unique<ScriptedLink>()); });
    EXPECT_FALSE(supervisor.write("frame"));
    EXPECT_EQ(supervisor.writeProblem(), QStringLiteral("scripted: was lost while it took the frame"));
    EXPECT_TRUE(waitFor([&former] { return former.isNull(); }));
    EXPECT_NE(supervisor.link(), nullptr);
}

TEST_F(LinkSupervisorTest, AWriteThatThrowsHasFailedAndItsTextIsKept)
{
    startUp();
    link->inWrite = [](const QByteArray &) -> bool {
        throw std::runtime_error("out of paper");
    };
    EXPECT_FALSE(supervisor.write("frame"));
    EXPECT_EQ(supervisor.writeProblem(), QStringLiteral("scripted: did not take the frame: out of paper"));
    link->inWrite = [](const QByteArray &) -> bool {
        throw 1;
    };
    EXPECT_FALSE(supervisor.write("frame"));
    EXPECT_TRUE(supervisor.isUp());

    link->inWrite = [](const QByteArray &) {
        return true;
    };
    EXPECT_TRUE(supervisor.write("frame"));
    EXPECT_EQ(supervisor.writeProblem(), QString());
}

TEST_F(LinkSupervisorTest, ALinkThatThrowsInEveryCallHarmsNobody)
{
    startUp();
    link->throwsEverywhere = true;
    EXPECT_FALSE(supervisor.mayWrite());
    EXPECT_FALSE(supervisor.write("frame"));
    supervisor.discardHeld();
    EXPECT_EQ(supervisor.bytesHeld(), 0);
    EXPECT_FALSE(supervisor.endWriting());
    supervisor.stop();
    EXPECT_EQ(told.last(), QStringLiteral("Closed"));
    link->throwsEverywhere = false;
    supervisor.start();
    EXPECT_TRUE(waitForUp());
}

TEST_F(LinkSupervisorTest, AConnectionThatIsOverWithinTheEndOfTheWritingIsClosedAndNotLost)
{
    startUp();
    link->endsWithTheWriting = true;
    EXPECT_TRUE(supervisor.endWriting());
    EXPECT_EQ(told.last(), QStringLiteral("Closed"));
    EXPECT_TRUE(losses.isEmpty());
}

TEST_F(LinkSupervisorTest, ASilentLinkThatThrowsInItsCloseIsLost)
{
    supervisor.setSilenceLimit(200ms);
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    link->throwsInClose = true;
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_EQ(losses.first().error, Error::LinkSilent);
    EXPECT_TRUE(waitForUp());
}

TEST_F(LinkSupervisorTest, ALinkThatIsStoppedWithinItsOwnCloseOfASilenceStaysStopped)
{
    supervisor.setSilenceLimit(200ms);
    startUp();
    holdAll();
    link->tellsOfItsOwnClose = true;
    link->endsToDiscard = false;
    QObject::connect(link, &DeviceLink::closed, link, [this] { supervisor.stop(); });
    ASSERT_TRUE(supervisor.write("frame"));
    ASSERT_TRUE(waitFor([this] { return supervisor.status().state == LinkState::Closed; }));
    EXPECT_FALSE(waitForLosses(1, 50));
    EXPECT_EQ(told, QStringList{"Closed"});
}

TEST_F(LinkSupervisorTest, ALinkThatIsTakenAwayWhileItDiscardsIsNotAskedAgain)
{
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    waitFor([] { return false; }, 300); // long enough for the bytes to be thrown away at once
    QObject::connect(link, &DeviceLink::closed, link, [this] { supervisor.setLink(nullptr); });
    supervisor.discardHeld();
    EXPECT_EQ(supervisor.link(), nullptr);
    EXPECT_FALSE(waitFor([this] { return supervisor.status().state != LinkState::Closed; }, 50));
}

TEST_F(LinkSupervisorTest, NothingIsWrittenWhileTheLinkIsNotUp)
{
    EXPECT_FALSE(supervisor.write("too soon"));
    supervisor.start();
    EXPECT_FALSE(supervisor.write("still too soon"));
    EXPECT_EQ(supervisor.writeProblem(), QStringLiteral("the link is not up"));
    EXPECT_FALSE(supervisor.mayWrite());
    EXPECT_EQ(link->written, QByteArray());
}

TEST_F(LinkSupervisorTest, PassesBytesAndRoomOn)
{
    startUp();
    Q_EMIT link->received("reply");
    EXPECT_EQ(received, QByteArray("reply"));
    link->isFull = true;
    EXPECT_FALSE(supervisor.mayWrite());
    link->isFull = false;
    Q_EMIT link->writable();
    EXPECT_EQ(writable, 1);
    EXPECT_TRUE(supervisor.mayWrite());
}

TEST_F(LinkSupervisorTest, ALinkOfWhichNoByteLeavesIsSilent)
{
    supervisor.setSilenceLimit(200ms);
    startUp();
    holdAll();
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(supervisor.write("frame"));
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_GE(clock.elapsed(), 200);
    EXPECT_LE(clock.elapsed(), 200 + 500);
    EXPECT_EQ(losses.first().error, Error::LinkSilent);
    EXPECT_TRUE(
        losses.first().reason.startsWith(QStringLiteral("scripted: is silent: it has taken none of 5 bytes for ")))
        << qPrintable(losses.first().reason);
    EXPECT_EQ(link->discards, 1);
    EXPECT_TRUE(waitForUp());
}

TEST_F(LinkSupervisorTest, FurtherWritesDoNotHideThatTheLinkIsSilent)
{
    supervisor.setSilenceLimit(200ms);
    startUp();
    holdAll();
    EXPECT_TRUE(waitFor([this] { return !supervisor.write("frame") || !losses.isEmpty(); }, 1000));
    EXPECT_EQ(losses.size(), 1);
}

TEST_F(LinkSupervisorTest, ALinkThatHoldsTheSameAmountWhileBytesPassIsNotSilent)
{
    supervisor.setSilenceLimit(200ms);
    startUp();
    link->held = 5;
    EXPECT_FALSE(waitFor(
        [this] {
            EXPECT_TRUE(supervisor.write("frame")); // one comes, one leaves
            return !losses.isEmpty();
        },
        700));
}

TEST_F(LinkSupervisorTest, ASlowLinkIsNotSilent)
{
    supervisor.setSilenceLimit(300ms);
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write(QByteArray(100'000, 'x')));
    EXPECT_FALSE(waitFor(
        [this] {
            --link->held;
            return !losses.isEmpty();
        },
        1000));
}

TEST_F(LinkSupervisorTest, TheSilenceLimitIsASecondOrTwiceTheWaitInFlight)
{
    for (const auto wait : {100ms, 700ms}) {
        supervisor.setWaitInFlight(wait);
        startUp();
        losses.clear();
        holdAll();
        QElapsedTimer clock;
        clock.start();
        ASSERT_TRUE(supervisor.write("frame"));
        ASSERT_TRUE(waitForLosses(1));
        const qint64 limit = std::max<qint64>(1000, 2 * wait.count());
        EXPECT_GE(clock.elapsed(), limit);
        EXPECT_LE(clock.elapsed(), limit + 500);
        supervisor.stop();
    }
}

TEST_F(LinkSupervisorTest, NothingHeldIsNothingToThrowAway)
{
    startUp();
    supervisor.discardHeld();
    EXPECT_TRUE(supervisor.mayWrite());
}

TEST_F(LinkSupervisorTest, NoCommandIsWrittenUntilHeldBytesHaveLeft)
{
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    supervisor.discardHeld();
    EXPECT_FALSE(supervisor.mayWrite());
    Q_EMIT link->writable();
    EXPECT_EQ(writable, 0);

    link->held = 0;
    ASSERT_TRUE(waitFor([this] { return writable == 1; }));
    EXPECT_TRUE(supervisor.mayWrite());
    EXPECT_EQ(link->discards, 0);
    EXPECT_TRUE(told.isEmpty());
}

TEST_F(LinkSupervisorTest, BytesHeldForTooLongAreThrownAwayAndTheLinkIsOpenedAtOnce)
{
    supervisor.setReconnectInterval(never);
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    QElapsedTimer clock;
    clock.start();
    supervisor.discardHeld();
    ASSERT_TRUE(waitFor([this] { return link->discards == 1; }));
    EXPECT_GE(clock.elapsed(), 250);
    EXPECT_EQ(supervisor.status().reason,
              QStringLiteral("scripted:: 5 undelivered bytes of commands that had ended were thrown away"));
    ASSERT_TRUE(waitForUp());
    EXPECT_EQ(told, (QStringList{"Connecting", "Up", "up"}));
    EXPECT_TRUE(supervisor.mayWrite());
}

TEST_F(LinkSupervisorTest, BytesThatHaveBeenStuckForLongAreThrownAwayWithinTheCall)
{
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(waitFor([&] { return clock.elapsed() > 250; }));
    supervisor.discardHeld();
    EXPECT_EQ(link->discards, 1);
    EXPECT_FALSE(supervisor.mayWrite());
    EXPECT_TRUE(told.isEmpty());
    ASSERT_TRUE(waitFor([this] { return supervisor.mayWrite(); }));
    EXPECT_EQ(told, (QStringList{"Connecting", "Up", "up"}));
}

TEST_F(LinkSupervisorTest, AnAttemptAfterBytesWereThrownAwayIsALossOnceTheSilenceHasLastedItsLimit)
{
    startUp();
    holdAll();
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(supervisor.write("frame"));
    link->opening = ScriptedLink::Opening::Never;
    supervisor.discardHeld();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_GE(clock.elapsed(), 1000);
    EXPECT_LE(clock.elapsed(), 1000 + 500);
    EXPECT_EQ(losses.first().error, Error::LinkSilent);
    EXPECT_EQ(link->opens, 2);
    Q_EMIT link->opened(); // the attempt has gone on
    EXPECT_TRUE(supervisor.isUp());
}

TEST_F(LinkSupervisorTest, ALinkThatStaysOpenToDiscardBeginsAnewAllTheSame)
{
    link->endsToDiscard = false;
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    supervisor.discardHeld();
    ASSERT_TRUE(waitFor([this] { return link->discards == 1; }));
    EXPECT_EQ(told, (QStringList{"Connecting", "Up", "up"}));
    EXPECT_EQ(link->opens, 1);
    Q_EMIT link->received("still heard");
    EXPECT_EQ(received, QByteArray("still heard"));
}

TEST_F(LinkSupervisorTest, BytesOfASilentLinkAreToldAsSilence)
{
    supervisor.setSilenceLimit(50ms);
    startUp();
    holdAll();
    ASSERT_TRUE(supervisor.write("frame"));
    supervisor.discardHeld();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_EQ(losses.first().error, Error::LinkSilent);
}

namespace {

QStringList logged;

void noteLog(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (qstrcmp(context.category, "biz.host") == 0) {
        logged.append((type == QtWarningMsg ? QStringLiteral("warning: ") : QStringLiteral("info: ")) + text);
    }
}

} // namespace

TEST_F(LinkSupervisorTest, LogsALossOnceAndTheReturnOnce)
{
    logged.clear();
    const QtMessageHandler before = qInstallMessageHandler(noteLog);
    startUp();
    link->opening = ScriptedLink::Opening::Fails;
    link->breakDown(QStringLiteral("pulled out"));
    EXPECT_TRUE(waitFor([this] { return supervisor.status().attempts == 3; }));
    link->opening = ScriptedLink::Opening::Succeeds;
    EXPECT_TRUE(waitForUp());
    supervisor.stop();
    qInstallMessageHandler(before);

    ASSERT_EQ(logged.size(), 2) << qPrintable(logged.join(QLatin1Char('\n')));
    EXPECT_EQ(logged.first(), QStringLiteral("warning: link lost: pulled out"));
    EXPECT_TRUE(logged.last().startsWith(QStringLiteral("info: link back: scripted: after ")))
        << qPrintable(logged.last());
}
