#include <QtCore/QElapsedTimer>

#include <gtest/gtest.h>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <host/support/wait_for.h>
#include <osd/osd_watch_p.h>
#include <timing_p.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** The watch over commands that are in flight to one device, of which the channel knows nothing. */
class OsdWatchFixture : public testing::Test
{
protected:
    /** A wait that is longer than any test, and one that the channel may end at once. */
    static constexpr int longWaitMs = 60000;
    static constexpr int shortWaitMs = 1;

    OsdCommand &inFlight(int waitMs)
    {
        model_OsdParam record;
        record.qsIp = ip;
        record.iWaitTime = waitMs;
        OsdDevice &device = commands.knownDevice(record.qsIp);
        commands.enter(device.lane, record, {}, nullptr);
        OsdCommand &command = *commands.handOver(device.lane);
        commands.markInFlight(device, command);
        command.announcedAt = Clock::now();
        watch.add(command);
        return command;
    }

    const QString ip = QStringLiteral("127.0.0.1");
    QObject context;
    Outbox outbox{nullptr};
    TicketSource tickets;
    OsdCommands commands{nullptr, &outbox, &tickets};
    int looks = 0;
    std::vector<Ticket> freed;
    OsdWatch watch{&commands,
                   [this] {
                       ++looks;
                       watch.endOverdue();
                   },
                   [this](const OsdCommand &command) { freed.push_back(command.ticket); }, &context};
};

} // namespace

TEST_F(OsdWatchFixture, AnsweredCommandsDoNotMakeTheNextLookLater)
{
    // So many that looks would be their longest period apart if each of them counted.
    const auto count = 1000 * (timing::osdFullLookPeriod / timing::osdLookPeriodPerThousand);
    for (auto i = count; i > 0; --i) {
        commands.end(inFlight(longWaitMs), Outcome::Answered, QStringLiteral("answered"));
    }
    QCoreApplication::removePostedEvents(&outbox); // there is no host to tell of their ends
    inFlight(shortWaitMs);
    ASSERT_TRUE(waitFor([this] { return looks == 1; }));
    QElapsedTimer clock;
    clock.start();
    constexpr int several = 11;
    ASSERT_TRUE(waitFor([this] { return looks >= several; }));
    EXPECT_LT(clock.elapsed(), several / 2 * timing::osdFullLookPeriod.count());
}

// As it does when somebody sets the wall clock.
TEST_F(OsdWatchFixture, ADeviceThatTheChannelFreesBeforeItsTimeIsFound)
{
    const Ticket ticket = inFlight(longWaitMs).ticket;
    biz_Osd_CMDSWork::m_bRetFlag.insert(ip, true);
    EXPECT_EQ(watch.endOverdue().size(), 1U);
    EXPECT_EQ(commands.find(ticket), nullptr);
    biz_Osd_CMDSWork::m_bRetFlag.remove(ip);
    QCoreApplication::removePostedEvents(&outbox); // there is no host to tell of its end
}

TEST_F(OsdWatchFixture, CommandThatTheChannelHasForgottenIsFreedWhenItsWaitIsOver)
{
    const OsdCommand &command = inFlight(shortWaitMs);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(waitFor([this] { return !freed.empty(); }));
    EXPECT_EQ(freed.front(), command.ticket);
    EXPECT_GE(clock.elapsed(), timing::longestOsdWait(std::chrono::milliseconds(shortWaitMs)).count() - 1);
}
