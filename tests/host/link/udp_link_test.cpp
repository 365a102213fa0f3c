#include <QtCore/QSocketNotifier>
#include <QtNetwork/QHostInfo>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include "link_journal.h"
#include <host/support/thread_sanitizer.h>
#include <host/support/wait_for.h>

namespace {

using namespace biz::test;

/** A device that the test plays, and a link to it. */
class UdpLink : public testing::Test
{
protected:
    UdpLink()
    {
        EXPECT_TRUE(device.bind(QHostAddress(QStringLiteral("127.0.0.1")), 0));
        journal.make(QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort()));
    }

    void open()
    {
        const int before = journal.opened;
        journal.link->open();
        ASSERT_TRUE(waitFor([&] { return journal.opened > before; }));
    }

    /** The next datagram that the device gets; the way back is then known. */
    QByteArray nextAtDevice()
    {
        EXPECT_TRUE(waitFor([this] { return device.hasPendingDatagrams(); }));
        const QNetworkDatagram datagram = device.receiveDatagram();
        linkAddress = datagram.senderAddress();
        linkPort = static_cast<quint16>(datagram.senderPort());
        return datagram.data();
    }

    QUdpSocket device;
    QHostAddress linkAddress;
    quint16 linkPort = 0;
    LinkJournal journal;
};

} // namespace

TEST(MakeUdpLink, AUrlNamesHostAndPort)
{
    EXPECT_EQ(nameFor("udp://127.0.0.1:1234"), QStringLiteral("udp://127.0.0.1:1234"));
    EXPECT_EQ(nameFor("udp://device"), QStringLiteral("udp://device:15700"));
    EXPECT_EQ(complaintAbout("udp://127.0.0.1:0"),
              QStringLiteral("\"udp://127.0.0.1:0\": port is 0, 1 to 65535 allowed; expected udp://HOST[:PORT]"));
    EXPECT_EQ(complaintAbout("udp://127.0.0.1/x"),
              QStringLiteral("\"udp://127.0.0.1/x\": a UDP link takes no path, but has \"/x\"; expected "
                             "udp://HOST[:PORT]"));
}

TEST_F(UdpLink, OpensAfterOpenHasReturned)
{
    journal.link->open();
    EXPECT_EQ(journal.opened, 0);
    EXPECT_FALSE(journal.link->isOpen());
    EXPECT_FALSE(journal.link->write("too soon"));

    ASSERT_TRUE(waitFor([this] { return journal.opened > 0; }));
    EXPECT_TRUE(journal.link->isOpen());
}

TEST_F(UdpLink, EachWriteIsOneDatagramAndRepliesComeBack)
{
    open();
    EXPECT_TRUE(journal.link->write("one"));
    EXPECT_TRUE(journal.link->write(QByteArray("t\0wo", 4)));
    EXPECT_EQ(nextAtDevice(), QByteArray("one"));
    EXPECT_EQ(nextAtDevice(), QByteArray("t\0wo", 4));

    device.writeDatagram("answer", linkAddress, linkPort);
    EXPECT_TRUE(waitFor([this] { return journal.received == "answer"; }));
}

TEST_F(UdpLink, DatagramsOfOtherSendersArePassedOver)
{
    open();
    journal.link->write("hello");
    nextAtDevice();

    QUdpSocket stranger;
    ASSERT_TRUE(stranger.bind(QHostAddress(QStringLiteral("127.0.0.1")), 0));
    stranger.writeDatagram("stranger", linkAddress, linkPort);
    device.writeDatagram("device", linkAddress, linkPort);

    ASSERT_TRUE(waitFor([this] { return journal.received.endsWith("device"); }));
    EXPECT_EQ(journal.received, QByteArray("device"));
}

TEST_F(UdpLink, AnEmptyDatagramIsPassedOver)
{
    int told = 0;
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::received, journal.link.get(), [&] { ++told; });
    open();
    journal.link->write("hello");
    nextAtDevice();
    device.writeDatagram("", 0, linkAddress, linkPort);
    device.writeDatagram("device", linkAddress, linkPort);

    ASSERT_TRUE(waitFor([this] { return !journal.received.isEmpty(); }));
    EXPECT_EQ(told, 1);
}

TEST_F(UdpLink, ADeviceThatIsAwayForAWhileIsReachedAgain)
{
    open();
    const quint16 port = device.localPort();
    device.close();
    // The system tells a sender of the refusal with its next call.
    EXPECT_TRUE(journal.link->write("nobody hears"));
    EXPECT_TRUE(journal.link->write("nobody hears this either"));
    ASSERT_TRUE(device.bind(QHostAddress(QStringLiteral("127.0.0.1")), port));

    EXPECT_TRUE(journal.link->write("back"));
    EXPECT_EQ(nextAtDevice(), QByteArray("back"));
    device.writeDatagram("yes", linkAddress, linkPort);
    EXPECT_TRUE(waitFor([this] { return journal.received == "yes"; }));
    EXPECT_TRUE(journal.closed.isEmpty());
}

// The system's notice of a datagram may come when the datagram has been read already.
TEST_F(UdpLink, ANoticeWithoutADatagramDoesNotMakeItDeaf)
{
    open();
    EXPECT_TRUE(journal.link->write("hello"));
    EXPECT_EQ(nextAtDevice(), QByteArray("hello"));
    const auto notifiers = journal.link->findChildren<QSocketNotifier *>();
    ASSERT_FALSE(notifiers.isEmpty());
    for (QSocketNotifier *notifier : notifiers) {
        QEvent notice(QEvent::SockAct);
        QCoreApplication::sendEvent(notifier, &notice);
    }
    for (const char *reply : {"one,", "two,"}) {
        const auto before = journal.received.size();
        device.writeDatagram(reply, linkAddress, linkPort);
        EXPECT_TRUE(waitFor([&] { return journal.received.size() > before; }, 2000)) << reply;
    }
    EXPECT_EQ(journal.received, QByteArray("one,two,"));
}

TEST_F(UdpLink, WhatFitsNoDatagramIsNotTaken)
{
    open();
    EXPECT_FALSE(journal.link->write(QByteArray(70000, 'x')));
    EXPECT_TRUE(journal.link->write("this one is"));
    EXPECT_EQ(nextAtDevice(), QByteArray("this one is"));
}

namespace {

/**
 * A thread of Qt's looks names up. It shares the name with the link, and hands over to the end of
 * the process, by counts and locks inside Qt.
 */
class UdpLinkLookUp : public UdpLink
{
protected:
    void SetUp() override
    {
        if (isUnderThreadSanitizer) {
            GTEST_SKIP() << "the sanitizer does not see what Qt's thread for look-ups does";
        }
    }

    /** None where nobody has written /etc/hosts, as in a bare root folder. */
    static QHostAddress addressOfLocalhost()
    {
        return QHostInfo::fromName(QStringLiteral("localhost")).addresses().value(0);
    }
};

} // namespace

TEST_F(UdpLinkLookUp, ANameIsLookedUp)
{
    const QHostAddress address = addressOfLocalhost();
    if (address.isNull()) {
        GTEST_SKIP() << "this system knows no localhost";
    }
    QUdpSocket named;
    ASSERT_TRUE(named.bind(address, 0));
    journal.make(QStringLiteral("udp://localhost:%1").arg(named.localPort()));
    open();
    EXPECT_TRUE(journal.link->write("by name"));
    ASSERT_TRUE(waitFor([&] { return named.hasPendingDatagrams(); }));
    EXPECT_EQ(named.receiveDatagram().data(), QByteArray("by name"));
}

TEST_F(UdpLinkLookUp, ACloseDuringALookUpIsSilentAndTheNextOneSucceeds)
{
    if (addressOfLocalhost().isNull()) {
        GTEST_SKIP() << "this system knows no localhost";
    }
    const QString url = QStringLiteral("udp://localhost:%1").arg(device.localPort());
    journal.make(url);
    journal.link->open();
    QCoreApplication::processEvents(); // the look-up is under way
    journal.link->close();

    LinkJournal later;
    later.make(url);
    later.link->open();
    ASSERT_TRUE(waitFor([&] { return later.opened == 1; }));
    EXPECT_EQ(journal.opened, 0);
    open();
    EXPECT_EQ(journal.opened, 1);
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(UdpLinkLookUp, ANameThatLeadsNowhereIsReportedOnceAndAfterOpenHasReturned)
{
    // No name has more than 253 letters: this one is refused without asking anybody.
    QStringList labels;
    for (int i = 0; i < 6; ++i) {
        labels.append(QString(60, QLatin1Char('a')));
    }
    journal.make(QStringLiteral("udp://") + labels.join(QLatin1Char('.')));
    ASSERT_NE(journal.link, nullptr);
    journal.link->open();
    EXPECT_TRUE(journal.closed.isEmpty());

    ASSERT_TRUE(waitFor([this] { return !journal.closed.isEmpty(); }));
    EXPECT_EQ(journal.closed.size(), 1);
    EXPECT_TRUE(journal.closed.first().startsWith(QStringLiteral("cannot reach ") + journal.link->name()))
        << journal.closed.first().toStdString();
    EXPECT_FALSE(journal.link->isOpen());
}

TEST_F(UdpLink, IsOpenedOnceHoweverOftenItIsAskedTo)
{
    journal.link->open();
    open();
    journal.link->open();
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_EQ(journal.opened, 1);
}

TEST_F(UdpLink, ACloseIsSilentAlsoWhileItOpensAndItOpensAgain)
{
    journal.link->open();
    journal.link->close();
    open();
    EXPECT_EQ(journal.opened, 1);
    journal.link->write("first");
    nextAtDevice();
    journal.link->close();
    EXPECT_FALSE(journal.link->write("too late"));

    open();
    journal.link->write("second");
    EXPECT_EQ(nextAtDevice(), QByteArray("second"));
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(UdpLink, CanBeClosedFromTheSlotThatReceives)
{
    open();
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::received, journal.link.get(),
                     [this] { journal.link->close(); });
    journal.link->write("ask");
    nextAtDevice();
    device.writeDatagram("one", linkAddress, linkPort);
    device.writeDatagram("two", linkAddress, linkPort);

    ASSERT_TRUE(waitFor([this] { return !journal.link->isOpen(); }));
    EXPECT_EQ(journal.received, QByteArray("one"));
}

TEST_F(UdpLink, KeepsMessageBoundariesAndHoldsNothing)
{
    open();
    EXPECT_TRUE(journal.link->keepsMessageBoundaries());
    EXPECT_TRUE(journal.link->write("one"));
    EXPECT_EQ(journal.link->bytesHeld(), 0);
    EXPECT_TRUE(journal.link->canWrite());
}

TEST_F(UdpLink, StandsACloseAndAnOpenFromTheSlotThatHearsItIsOpen)
{
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::opened, journal.link.get(), [this] {
        if (journal.opened == 1) {
            journal.link->close();
            journal.link->open();
        }
    });
    journal.link->open();
    ASSERT_TRUE(waitFor([this] { return journal.opened == 2; }));
    EXPECT_TRUE(journal.link->isOpen());
}
