#ifndef BIZ_TESTS_HOST_DEVICE_HOST_FIXTURE_H
#define BIZ_TESTS_HOST_DEVICE_HOST_FIXTURE_H

#include <memory>
#include <ostream>
#include <set>

#include <gtest/gtest.h>

#include "device_host_recorder.h"
#include "fake_link.h"
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}
QT_END_NAMESPACE

namespace biz::test {

/**
 * A device host on a link that the test plays the device of. At the end the host is stopped, every
 * command that was given must have ended exactly once, and the counters must add up.
 */
class DeviceHostFixture : public ::testing::Test
{
protected:
    /** Waits that are short for a test and long for a loop that passes every 10 ms. */
    static constexpr int shortWaitMs = 60;
    /** For commands that are not to time out: a resend, which brings about what nothing else did, comes too late. */
    static constexpr int longWaitMs = 10 * patienceMs;

    DeviceHostFixture() { makeHost(); }

    void TearDown() override
    {
        if (host) {
            host->stop();
            EXPECT_TRUE(waitForAllEnds());
            expectCountersAddUp();
        }
        expectOneEndEach();
    }

    /** A new host on a new link; what the former one said is forgotten. */
    void makeHost()
    {
        host.reset(); // first, since it holds the channel
        seen.forget();
        given.clear();
        host = std::make_unique<host::DeviceHost>();
        auto ownLink = std::make_unique<FakeLink>();
        link = ownLink.get();
        EXPECT_TRUE(host->setLink(std::move(ownLink)));
        seen.attach(*host);
    }

    /** Starts, and waits until the link is up and has told so. */
    void start()
    {
        const int before = seen.count(host::LinkState::Up);
        ASSERT_TRUE(host->start());
        ASSERT_TRUE(waitFor([&] { return seen.count(host::LinkState::Up) > before; }));
    }

    void answerEverything()
    {
        link->onCommand = [this](const model_Protocoldata &command) {
            link->reply(command);
        };
    }

    static model_Protocoldata command(int waitMs, const QByteArray &payload = QByteArray())
    {
        model_Protocoldata record = host::makeCommand(0x68, 0x12, payload);
        record.iWaitTime = waitMs;
        return record;
    }

    host::Ticket enqueue(const model_Protocoldata &record, const host::CommandOptions &options = {})
    {
        return note(seen.quietly([&] { return host->enqueue(record, options); }));
    }

    host::Ticket enqueue(int waitMs = longWaitMs) { return enqueue(command(waitMs)); }

    host::Ticket enqueue(const QByteArray &payload, const host::CommandOptions &options = {})
    {
        return enqueue(command(longWaitMs, payload), options);
    }

    /** A ticket that enqueue() has just returned: its end is expected from now on. */
    host::Ticket note(host::Ticket ticket)
    {
        EXPECT_NE(ticket, 0U);
        EXPECT_TRUE(given.insert(ticket).second) << "ticket " << ticket << " was given twice";
        EXPECT_FALSE(seen.hasEnded(ticket));
        return ticket;
    }

    bool waitForEnd(host::Ticket ticket)
    {
        return waitFor([&] { return seen.hasEnded(ticket); });
    }

    /** Waits for its end; "none" if that does not come. */
    QString waitForOutcome(host::Ticket ticket)
    {
        waitForEnd(ticket);
        return seen.outcomeOf(ticket);
    }

    bool waitForAllEnds()
    {
        return waitFor([&] { return seen.ends().size() == given.size(); });
    }

    bool waitForCommands(std::size_t count)
    {
        return waitFor([&] { return link->commands.size() >= count; });
    }

    /** A command is in flight and stays there: what is given from now on waits. */
    host::Ticket occupy()
    {
        const host::Ticket ticket = enqueue(QByteArray("first"));
        nextCommand();
        return ticket;
    }

    /** The device answers from now on, and has answered what is in flight. */
    void answerFromNowOn()
    {
        answerEverything();
        link->reply(link->commands.back());
    }

    /** Keeps this thread, which is the host's, busy: no event is handled meanwhile. */
    static void stayBusy(const std::function<bool()> &isEnough)
    {
        QElapsedTimer clock;
        clock.start();
        while (!isEnough() && clock.elapsed() < patienceMs) {
        }
    }
    static void stayBusyFor(int milliseconds)
    {
        QElapsedTimer clock;
        clock.start();
        stayBusy([&] { return clock.elapsed() >= milliseconds; });
    }

    /** Waits for the next command on the link. */
    model_Protocoldata nextCommand()
    {
        EXPECT_TRUE(waitForCommands(m_read + 1)) << "no command was written";
        return m_read < link->commands.size() ? link->commands[m_read++] : model_Protocoldata();
    }

    /** The payloads of all that was written, in order. */
    QByteArrayList written() const
    {
        QByteArrayList payloads;
        for (const model_Protocoldata &command : link->commands) {
            payloads.append(command.baData);
        }
        return payloads;
    }

    void expectOneEndEach() const
    {
        for (const host::Ticket ticket : given) {
            const auto ends = seen.ends().find(ticket);
            ASSERT_NE(ends, seen.ends().end()) << "ticket " << ticket << " never ended";
            EXPECT_EQ(ends->second.size(), 1U) << "ticket " << ticket;
            EXPECT_FALSE(ends->second.front().reason.isEmpty());
        }
        EXPECT_EQ(seen.ends().size(), given.size()) << "an unknown ticket ended";
    }

    void expectCountersAddUp() const
    {
        const host::Counters totals = host->counters();
        EXPECT_EQ(totals.enqueued, sumOfOutcomes(totals) + static_cast<quint64>(host->pending()));
    }

    static quint64 sumOfOutcomes(const host::Counters &totals)
    {
        return totals.answered + totals.gaveUp + totals.cleared + totals.skipped + totals.stopped + totals.released +
               totals.expired + totals.superseded + totals.cancelled + totals.unreachable + totals.interrupted;
    }

    const ScratchFolder folder;
    std::unique_ptr<host::DeviceHost> host;
    FakeLink *link = nullptr;
    DeviceHostRecorder seen;
    std::set<host::Ticket> given;

private:
    std::size_t m_read = 0;
};

} // namespace biz::test

#endif
