#ifndef BIZ_TESTS_HOST_DEVICE_HOST_FIXTURE_H
#define BIZ_TESTS_HOST_DEVICE_HOST_FIXTURE_H

#include <memory>
#include <ostream>
#include <set>

#include <gtest/gtest.h>

#include "device_host_recorder.h"
#include "fake_link.h"
#include "wait_for.h"
#include <support/scratch_folder.h>

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}
QT_END_NAMESPACE

namespace biz::test {

/**
 * A device host on a link that the test plays the device of. At the end the host is
 * stopped, and every command that was given must have ended exactly once.
 */
class DeviceHostFixture : public ::testing::Test
{
protected:
    /** Waits that are short for a test and long for a loop that passes every 10 ms. */
    static constexpr int shortWaitMs = 60;
    static constexpr int longWaitMs = 3000; ///< for commands that are not to time out

    DeviceHostFixture() { makeHost(); }

    void TearDown() override
    {
        if (host) {
            host->stop();
            EXPECT_TRUE(waitFor([this] { return seen.ends().size() == given.size(); }));
        }
        expectOneEndEach();
    }

    /** The tickets of a new host begin anew: what the former one said is forgotten. */
    void makeHost()
    {
        host.reset(); // first, since it holds the channel
        seen.forget();
        given.clear();
        host = std::make_unique<biz_DeviceHost>();
        auto ownLink = std::make_unique<FakeLink>();
        link = ownLink.get();
        host->setLink(std::move(ownLink));
        seen.attach(*host);
    }

    /** Starts, and waits until the loops run. */
    void start()
    {
        const int before = seen.count("linkOpened");
        ASSERT_TRUE(host->start());
        ASSERT_TRUE(waitFor([&] { return seen.count("linkOpened") > before; }));
    }

    static model_Protocoldata command(int waitMs, const QByteArray &payload = QByteArray())
    {
        model_Protocoldata record;
        record.ucHead[1] = 0x68;
        record.ucHead[2] = 0x12;
        record.iWaitTime = waitMs;
        record.baData = payload;
        return record;
    }

    host::Ticket enqueue(const model_Protocoldata &record)
    {
        const host::Ticket ticket = seen.quietly([&] { return host->enqueue(record); });
        EXPECT_NE(ticket, 0U);
        EXPECT_TRUE(given.insert(ticket).second) << "ticket " << ticket << " was given twice";
        EXPECT_FALSE(seen.hasEnded(ticket));
        return ticket;
    }

    host::Ticket enqueue(int waitMs = longWaitMs) { return enqueue(command(waitMs)); }

    bool waitForEnd(host::Ticket ticket)
    {
        return waitFor([&] { return seen.hasEnded(ticket); });
    }

    bool waitForCommands(std::size_t count)
    {
        return waitFor([&] { return link->commands.size() >= count; });
    }

    /** Waits for the next command on the link. */
    model_Protocoldata nextCommand()
    {
        EXPECT_TRUE(waitForCommands(m_read + 1)) << "no command was written";
        return m_read < link->commands.size() ? link->commands[m_read++] : model_Protocoldata();
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

    const ScratchFolder folder;
    std::unique_ptr<biz_DeviceHost> host;
    FakeLink *link = nullptr;
    DeviceHostRecorder seen;
    std::set<host::Ticket> given;

private:
    std::size_t m_read = 0;
};

} // namespace biz::test

#endif
