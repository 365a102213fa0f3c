#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <QtNetwork/QTcpSocket>

#include "link_journal.h"
#include <host/support/stalled_peer.h>
#include <host/support/wait_for.h>

namespace {

using namespace biz::test;
using biz::host::DeviceLink;

constexpr qint64 mostHeldBytes = 64 * 1024;

/** A TCP link to a device that reads only when the test says so. */
class HeldTcpLink : public testing::Test
{
protected:
    HeldTcpLink() { journal.make(peer.url()); }

    void open()
    {
        const int before = journal.opened;
        journal.link->open();
        ASSERT_TRUE(waitFor([&] { return journal.opened > before; }));
        ASSERT_TRUE(peer.accept());
    }

    /** Writes frames while there is room; returns how many bytes that makes. */
    qint64 fill(int frameSize)
    {
        constexpr qint64 endless = 100'000'000;
        qint64 written = 0;
        while (journal.link->canWrite() && written < endless) {
            EXPECT_TRUE(journal.link->write(QByteArray(frameSize, 'x')));
            written += frameSize;
        }
        EXPECT_LT(written, endless) << "nothing bounds what the link holds";
        return written;
    }

    /** Reads until all has left the link. */
    qint64 readAll()
    {
        qint64 got = 0;
        EXPECT_TRUE(waitFor([&] {
            got += peer.read().size();
            return journal.link->bytesHeld() == 0;
        }));
        return got + peer.read().size();
    }

    int option(int level, int name) const
    {
        const auto *const socket = journal.link->findChild<QTcpSocket *>();
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(static_cast<int>(socket->socketDescriptor()), level, name, &value, &size), 0);
        return value;
    }

    StalledPeer peer;
    LinkJournal journal;
};

} // namespace

TEST_F(HeldTcpLink, HoldsWhatTheDeviceDoesNotTakeAndNothingOnceItHasTakenAll)
{
    open();
    EXPECT_EQ(journal.link->bytesHeld(), 0);
    const QByteArray sent(1'000'000, 'x');
    EXPECT_TRUE(journal.link->write(sent));
    EXPECT_GT(journal.link->bytesHeld(), 0);
    EXPECT_EQ(readAll(), sent.size());
}

TEST_F(HeldTcpLink, StaysWithinTheBoundAndTellsOfRoomOnce)
{
    int writable = 0;
    QObject::connect(journal.link.get(), &DeviceLink::writable, journal.link.get(), [&] { ++writable; });
    open();
    const qint64 written = fill(1000);
    EXPECT_LE(journal.link->bytesHeld(), mostHeldBytes);
    EXPECT_EQ(writable, 0);

    EXPECT_EQ(readAll(), written);
    ASSERT_TRUE(waitFor([&] { return writable > 0; }));
    EXPECT_TRUE(journal.link->canWrite());
    EXPECT_EQ(writable, 1);
}

TEST_F(HeldTcpLink, TakesAFrameBeyondTheBoundWhenItHoldsNothing)
{
    open();
    EXPECT_TRUE(journal.link->canWrite());
    EXPECT_TRUE(journal.link->write(QByteArray(1'000'000, 'x')));
    EXPECT_FALSE(journal.link->canWrite());
}

TEST_F(HeldTcpLink, LeavesRoomForAFrameOfTheSizeItHasSeen)
{
    constexpr int frameSize = 60'000;
    open();
    // The device's system takes the first bytes: what counts is what it leaves.
    fill(frameSize);
    EXPECT_LE(journal.link->bytesHeld(), mostHeldBytes);
}

TEST_F(HeldTcpLink, WhatIsDiscardedNeverArrives)
{
    open();
    const qint64 written = fill(1000);
    const qint64 held = journal.link->bytesHeld();
    ASSERT_GT(held, 0);

    journal.link->discard();
    EXPECT_FALSE(journal.link->isOpen());
    ASSERT_EQ(journal.closed.size(), 1);
    EXPECT_EQ(journal.closed.first(),
              QStringLiteral("%1 was closed: %2 undelivered bytes were thrown away").arg(peer.url()).arg(held));

    qint64 got = 0;
    ASSERT_TRUE(waitFor([&] {
        got += peer.read().size();
        return peer.hasEnded();
    }));
    EXPECT_LT(got, held / 2) << "of " << written << " bytes";
    open();
    EXPECT_TRUE(journal.link->write("fresh"));
    QByteArray fresh;
    EXPECT_TRUE(waitFor([&] {
        fresh += peer.read();
        return fresh == "fresh";
    }));
}

TEST_F(HeldTcpLink, WhatTheDevicesSystemHasTakenCannotBeRecalled)
{
    open();
    EXPECT_TRUE(journal.link->write("on its way"));
    ASSERT_TRUE(waitFor([this] { return journal.link->bytesHeld() == 0; }));
    journal.link->discard();
    EXPECT_EQ(peer.read(), QByteArray("on its way"));
}

TEST_F(HeldTcpLink, DiscardOfNothingLeavesTheConnectionAlone)
{
    open();
    EXPECT_TRUE(journal.link->write("read at once"));
    readAll();
    journal.link->discard();
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(HeldTcpLink, ABreakThatAWriteFindsIsToldOnce)
{
    open();
    peer.reset();
    // The event loop does not turn, so that the write is the first to find out.
    ASSERT_FALSE(journal.link->write("into the void"));
    EXPECT_EQ(journal.closed.size(), 1);
    EXPECT_FALSE(journal.link->isOpen());
    open();
    EXPECT_EQ(journal.closed.size(), 1);
}

TEST_F(HeldTcpLink, StandsACloseAndAnOpenFromWithinItsWrite)
{
    open();
    QObject::connect(journal.link.get(), &DeviceLink::closed, journal.link.get(), [this] {
        journal.link->close();
        journal.link->open();
    });
    peer.reset();
    ASSERT_FALSE(journal.link->write("into the void"));
    ASSERT_TRUE(waitFor([this] { return journal.opened == 2; }));
    EXPECT_EQ(journal.closed.size(), 1);
}

TEST_F(HeldTcpLink, StandsACloseAndAnOpenFromTheSlotThatHearsItIsOpen)
{
    QObject::connect(journal.link.get(), &DeviceLink::opened, journal.link.get(), [this] {
        if (journal.opened == 1) {
            journal.link->close();
            journal.link->open();
        }
    });
    journal.link->open();
    ASSERT_TRUE(waitFor([this] { return journal.opened == 2; }));
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(HeldTcpLink, ProbesAnIdleDevice)
{
    open();
    EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    const int longest =
        option(IPPROTO_TCP, TCP_KEEPIDLE) + option(IPPROTO_TCP, TCP_KEEPINTVL) * option(IPPROTO_TCP, TCP_KEEPCNT);
    EXPECT_LE(longest, 15);
    // It would replace the number of probes.
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 0);
}

TEST_F(HeldTcpLink, TheSystemGivesUpHeldBytesAsWell)
{
    open();
    fill(1000);
    EXPECT_GT(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 0);
    readAll();
    EXPECT_TRUE(waitFor([this] { return option(IPPROTO_TCP, TCP_USER_TIMEOUT) == 0; }));
}
