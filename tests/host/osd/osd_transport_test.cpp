#include <mutex>
#include <vector>

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <host/datagram_transport.h>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** A transport without a network: it does with datagrams what the test says. */
class ScriptedTransport : public DatagramTransport
{
public:
    QString problemOfOpen;
    SendResult next;
    bool hasRoomWhenRead = false;
    QStringList calls;
    std::vector<std::pair<QHostAddress, QByteArray>> sent;

    QString open(const QHostAddress & /*local*/) override { return problemOfOpen; }
    void close() override { calls.append("close"); }
    void readPending() override
    {
        calls.append("read");
        if (hasRoomWhenRead) {
            Q_EMIT writable();
        }
    }
    void forget(const QHostAddress &device) override { calls.append("forget " + device.toString()); }

    SendResult send(const QHostAddress &device, quint16 /*port*/, const QByteArray &datagram) override
    {
        calls.append("send");
        if (next.sent == Sent::Yes) {
            sent.emplace_back(device, datagram);
        }
        return next;
    }

    void answer() { Q_EMIT received(sent.back().first, sent.back().second); }
};

class OsdTransport : public OsdHostFixture
{
protected:
    OsdTransport()
    {
        auto own = std::make_unique<ScriptedTransport>();
        transport = own.get();
        EXPECT_TRUE(host->setTransport(std::move(own)));
    }

    Ticket enqueueToNobody(int waitMs) { return enqueue(command("192.0.2.1", waitMs)); }

    ScriptedTransport *transport = nullptr;
};

} // namespace

TEST_F(OsdTransport, OfTheApplicationCarriesCommandsAndReplies)
{
    start();
    const Ticket ticket = enqueueToNobody(answeredWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->sent.size() == 1; }));
    transport->answer();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

TEST_F(OsdTransport, ThatCannotOpenRefusesTheStart)
{
    transport->problemOfOpen = "it is broken";
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::CannotBind);
    EXPECT_TRUE(host->errorString().contains("it is broken")) << host->errorString().toStdString();
}

TEST_F(OsdTransport, StaysWhileTheHostRuns)
{
    start();
    EXPECT_FALSE(host->setTransport(nullptr));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
}

TEST_F(OsdTransport, IsUdpAgainWhenItIsTakenAway)
{
    ASSERT_TRUE(host->setTransport(nullptr));
    start();
    ASSERT_TRUE(waitForEnd(enqueue(device(1))));
    EXPECT_EQ(host->counters().answered, 1U);
}

TEST_F(OsdTransport, IsReadBeforeItIsWrittenTo)
{
    start();
    transport->calls.clear();
    enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->calls.contains("send"); }));
    const auto sent = transport->calls.indexOf("send");
    ASSERT_GT(sent, 0);
    EXPECT_EQ(transport->calls.at(sent - 1), "read");
}

TEST_F(OsdTransport, ThatIsFullIsWaitedFor)
{
    transport->next = {DatagramTransport::Sent::Later, "full"};
    start();
    const Ticket ticket = enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->calls.contains("send"); }));
    EXPECT_EQ(count("sent"), 0);
    transport->next = {};
    Q_EMIT transport->writable();
    ASSERT_TRUE(waitFor([this] { return count("sent") == 1; }));
    transport->answer();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(count("socketError"), 0);
}

TEST_F(OsdTransport, WhatComesWhileACommandWaitsForRoomIsNotItsReply)
{
    start();
    const Ticket first = enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return count("sent") == 1; }));
    transport->answer();
    ASSERT_TRUE(waitForEnd(first));
    transport->next = {DatagramTransport::Sent::Later, "full"};
    transport->calls.clear();
    const Ticket second = enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->calls.contains("send"); }));
    transport->answer();
    ASSERT_TRUE(waitFor([this] { return count("duplicate") == 1 || count("ended") == 2; }));
    EXPECT_EQ(outcomeOf(second), "none") << "it has not been sent";
}

TEST_F(OsdTransport, ThatStaysFullIsGivenAsTheReasonOfTheGiveUp)
{
    transport->next = {DatagramTransport::Sent::Later, "full"};
    start();
    const Ticket ticket = enqueueToNobody(givenUpWaitMs);
    EXPECT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_TRUE(reasonOf(ticket).contains("could not be sent within its wait")) << reasonOf(ticket).toStdString();
    EXPECT_TRUE(reasonOf(ticket).contains("full")) << reasonOf(ticket).toStdString();
}

TEST_F(OsdTransport, ThatHasRoomAgainIsNotAskedToSendWhatHasEnded)
{
    transport->next = {DatagramTransport::Sent::Later, "full"};
    start();
    const Ticket ticket = enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->calls.contains("send"); }));
    EXPECT_TRUE(host->cancel(ticket));
    transport->next = {};
    Q_EMIT transport->writable();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_TRUE(transport->sent.empty());
    EXPECT_TRUE(reasonOf(ticket).contains("before it was sent")) << reasonOf(ticket).toStdString();
}

TEST_F(OsdTransport, ThatHasRoomAgainIsNotAskedToSendWhatAStopEnds)
{
    transport->next = {DatagramTransport::Sent::Later, "full"};
    start();
    enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->calls.contains("send"); }));
    transport->next = {};
    transport->hasRoomWhenRead = true;
    EXPECT_EQ(host->stop().pending, 1);
    EXPECT_TRUE(transport->sent.empty());
}

// Of two seconds the channel promises one, counted from its taking; this one is written when most of it is over.
TEST_F(OsdTransport, ThatHadNoRoomLeavesTheDeviceItsTimeFromTheWriteOn)
{
    constexpr int leastMs = 1000;
    constexpr int withoutRoomMs = 700;
    transport->next = {DatagramTransport::Sent::Later, "full"};
    start();
    const Ticket ticket = enqueueToNobody(answeredWaitMs);
    QElapsedTimer sinceWrite;
    QTimer::singleShot(withoutRoomMs, [&] {
        transport->next = {};
        Q_EMIT transport->writable();
        sinceWrite.start();
    });
    EXPECT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_EQ(count("sent"), 1);
    EXPECT_GE(sinceWrite.elapsed(), leastMs);
}

TEST_F(OsdTransport, ThatDropsDatagramsIsToldOnceAndCounted)
{
    start();
    Q_EMIT transport->overflowed(3);
    Q_EMIT transport->overflowed(4);
    ASSERT_TRUE(waitFor([this] { return count("socketError") == 1; }));
    EXPECT_TRUE(first("socketError").text.contains("dropped 3"));
    EXPECT_EQ(host->counters().overflowed, 7U);
    EXPECT_TRUE(host->stop().clean());
    start();
    Q_EMIT transport->overflowed(1);
    ASSERT_TRUE(waitFor([this] { return count("socketError") == 2; })) << "each start tells it anew";
}

TEST_F(OsdTransport, TellsItsProblems)
{
    start();
    Q_EMIT transport->failed("a problem");
    ASSERT_TRUE(waitFor([this] { return count("socketError") == 1; }));
    EXPECT_EQ(first("socketError").text, QStringLiteral("a problem"));
}

TEST_F(OsdTransport, IsToldOfForgottenDevices)
{
    start();
    enqueueToNobody(endlessWaitMs);
    host->forget("192.0.2.1");
    EXPECT_TRUE(transport->calls.contains("forget 192.0.2.1"));
}

// --- UDP ----------------------------------------------------------------------------------------

TEST_F(OsdTransport, OfTheSystemCountsWhatItHadNoRoomFor)
{
    constexpr int flood = 3000;
    ASSERT_TRUE(host->setTransport(nullptr));
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    for (int i = 0; i < flood; ++i) {
        one.send("junk"); // nobody reads meanwhile
    }
    ASSERT_TRUE(waitFor([this] { return host->counters().overflowed > 0; }));
    ASSERT_TRUE(waitFor([this] {
        return host->counters().overflowed + host->counters().refusedFrames == static_cast<quint64>(flood);
    }));
    ASSERT_TRUE(waitFor([this] { return count("socketError") > 0; })); // signals follow what is counted
    EXPECT_EQ(count("socketError"), 1);
}

// --- Reachable -----------------------------------------------------------------------------------

TEST_F(OsdTransport, ShowsWhichDevicesAreReachableAndSinceWhenTheOthersAreSilent)
{
    start();
    const Ticket answered = enqueueToNobody(answeredWaitMs);
    EXPECT_FALSE(host->devices()[0].reachable);
    EXPECT_EQ(host->devices()[0].silentSinceUtcMs, 0) << "nothing was written yet";
    ASSERT_TRUE(waitFor([this] { return transport->sent.size() == 1; }));
    EXPECT_GT(host->devices()[0].silentSinceUtcMs, 0) << "never heard of";
    transport->answer();
    ASSERT_TRUE(waitForEnd(answered));
    EXPECT_TRUE(host->devices()[0].reachable);

    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    const Ticket silent = enqueueToNobody(givenUpWaitMs);
    ASSERT_TRUE(waitFor([this] { return transport->sent.size() == 2; }));
    EXPECT_TRUE(host->devices()[0].reachable) << "its answer may still come";
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    ASSERT_TRUE(waitForEnd(silent));
    ASSERT_TRUE(waitForEnd(enqueueToNobody(givenUpWaitMs)));
    EXPECT_FALSE(host->devices()[0].reachable);
    EXPECT_GE(host->devices()[0].silentSinceUtcMs, before) << "the first of those that it left unanswered";
    EXPECT_LE(host->devices()[0].silentSinceUtcMs, after);

    transport->answer();
    EXPECT_TRUE(host->devices()[0].reachable) << "late, but heard of";
    EXPECT_EQ(host->devices()[0].silentSinceUtcMs, 0);

    ASSERT_TRUE(waitForEnd(enqueueToNobody(givenUpWaitMs)));
    EXPECT_FALSE(host->devices()[0].reachable);
    EXPECT_GT(host->devices()[0].silentSinceUtcMs, after) << "a silence of its own";
}

TEST_F(OsdTransport, IsGivenACommandOnlyWhenItMayBeWritten)
{
    bool mayWrite = false;
    int asked = 0;
    host->setMayWrite([&] {
        ++asked;
        return mayWrite;
    });
    start();
    const Ticket ticket = enqueueToNobody(endlessWaitMs);
    ASSERT_TRUE(waitFor([&] { return asked > 2; }));
    EXPECT_FALSE(transport->calls.contains("send"));

    mayWrite = true;
    ASSERT_TRUE(waitFor([this] { return transport->sent.size() == 1; }));
    transport->answer();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

TEST_F(OsdTransport, MayBringMoreThanTheReceiveLoopTakesAndTheRepliesWaitInBoundedRoom)
{
    constexpr int replies = 3000; // nearly three times as many bytes as may wait
    constexpr int payloadBytes = 60000;
    constexpr std::size_t mostWaiting = 64 * 1024 * 1024 / payloadBytes + 1;
    host->setKeepUnmatchedReplies(true);
    start();
    model_OsdParam large = command("192.0.2.1", endlessWaitMs);
    large.baData = QByteArray(payloadBytes, 'x');
    const Ticket ticket = host->enqueue(large);
    ASSERT_NE(ticket, 0U);
    given.insert(ticket);
    ASSERT_TRUE(waitFor([this] { return transport->sent.size() == 1; }));
    for (int i = 0; i < replies; ++i) {
        transport->answer();
    }
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        EXPECT_LE(biz_Osd_CMDSWork::receivequeueHexCmd.size(), mostWaiting);
    }
    EXPECT_TRUE(waitForEnd(ticket));
}
