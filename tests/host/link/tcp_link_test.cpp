#include <cstring>

#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <gtest/gtest.h>

#include <host/device_link.h>

#include <host/support/thread_sanitizer.h>
#include <host/support/wait_for.h>

namespace {

constexpr const char *nameOfTwo = "two-addresses.example";
constexpr const char *firstAddress = "127.0.0.3";
constexpr const char *secondAddress = "127.0.0.1";

} // namespace

/** In place of the system's, for all that is loaded: one name has two addresses, and all others have theirs. */
extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char *name, const char *service, const addrinfo *hints,
                                                          addrinfo **found)
{
    static const auto next = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (name == nullptr || std::strcmp(name, nameOfTwo) != 0) {
        return next(name, service, hints, found);
    }
    addrinfo *first = nullptr;
    addrinfo *second = nullptr;
    if (next(firstAddress, service, hints, &first) != 0 || next(secondAddress, service, hints, &second) != 0) {
        return EAI_FAIL;
    }
    addrinfo *last = first;
    while (last->ai_next != nullptr) {
        last = last->ai_next;
    }
    last->ai_next = second;
    *found = first;
    return 0;
}

namespace {

using biz::host::DeviceLink;
using biz::host::makeLink;
using biz::test::waitFor;

/** A device's end of the line, and a journal of what the link told. */
class TcpLink : public testing::Test
{
protected:
    TcpLink()
    {
        EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
        QString error;
        link = makeLink(QUrl(QStringLiteral("tcp://127.0.0.1:%1").arg(server.serverPort())), &error);
        QObject::connect(link.get(), &DeviceLink::opened, link.get(), [this] { ++opened; });
        QObject::connect(link.get(), &DeviceLink::closed, link.get(),
                         [this](const QString &reason) { closed.append(reason); });
        QObject::connect(link.get(), &DeviceLink::received, link.get(),
                         [this](const QByteArray &bytes) { received.append(bytes); });
    }

    void openBothEnds()
    {
        link->open();
        ASSERT_TRUE(waitFor([this] { return link->isOpen() && server.hasPendingConnections(); }));
        device.reset(server.nextPendingConnection());
    }

    /** Gives a signal that must not come the time in which those that must come arrive. */
    void letEverythingArrive()
    {
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, server.serverPort());
        ASSERT_TRUE(waitFor([&probe] { return probe.state() == QAbstractSocket::ConnectedState; }));
        probe.disconnectFromHost();
        ASSERT_TRUE(waitFor([&probe] { return probe.state() == QAbstractSocket::UnconnectedState; }));
    }

    QTcpServer server;
    std::unique_ptr<DeviceLink> link;
    std::unique_ptr<QTcpSocket> device;
    int opened = 0;
    QStringList closed;
    QByteArray received;
};

} // namespace

TEST_F(TcpLink, AWriteLeavesBeforeTheEventLoopTurns)
{
    constexpr int longEnoughMs = 10000;
    openBothEnds();
    EXPECT_TRUE(link->write("now"));
    // Waits at this end of the line alone: nothing is done for the link meanwhile.
    ASSERT_TRUE(device->waitForReadyRead(longEnoughMs));
    EXPECT_EQ(device->readAll(), QByteArray("now"));
}

TEST_F(TcpLink, ReadsOnWhenItHasEndedItsWriting)
{
    openBothEnds();
    device->write("last words");
    ASSERT_TRUE(device->flush());
    EXPECT_TRUE(link->endWriting());

    EXPECT_TRUE(waitFor([this] { return closed.size() == 1; }));
    EXPECT_EQ(received, QByteArray("last words"));
    EXPECT_EQ(device->state(), QAbstractSocket::UnconnectedState) << "it was not told";
}

TEST_F(TcpLink, TakesNothingWhenItHasEndedItsWriting)
{
    openBothEnds();
    EXPECT_TRUE(link->endWriting());
    EXPECT_FALSE(link->canWrite());
    EXPECT_FALSE(link->write("more"));
}

TEST_F(TcpLink, OpensAfterOpenHasReturned)
{
    link->open();
    EXPECT_EQ(opened, 0);
    EXPECT_FALSE(link->isOpen());

    ASSERT_TRUE(waitFor([this] { return opened > 0; }));
    EXPECT_TRUE(link->isOpen());
    EXPECT_TRUE(closed.isEmpty());
}

TEST_F(TcpLink, IsOpenedOnceHoweverOftenItIsAskedTo)
{
    link->open();
    openBothEnds();
    link->open();
    letEverythingArrive();
    EXPECT_EQ(opened, 1);
}

TEST_F(TcpLink, EndsItsWritingOnlyWhileItIsOpen)
{
    EXPECT_FALSE(link->endWriting());
    openBothEnds();
    EXPECT_TRUE(link->endWriting());
}

TEST_F(TcpLink, CarriesBytesBothWays)
{
    openBothEnds();

    EXPECT_TRUE(link->write(QByteArray("com\0mand", 8)));
    device->write(QByteArray("rep\0ly", 6));

    EXPECT_TRUE(waitFor([this] { return device->bytesAvailable() == 8; }));
    EXPECT_EQ(device->readAll(), QByteArray("com\0mand", 8));
    EXPECT_TRUE(waitFor([this] { return received == QByteArray("rep\0ly", 6); }));
}

TEST_F(TcpLink, MoreThanTheSystemTakesAtOnceFollowsInOrder)
{
    openBothEnds();
    device->setReadBufferSize(1); // the device does not keep up
    QByteArray sent;
    for (int i = 0; sent.size() < 16'000'000; ++i) {
        sent.append(QByteArray::number(i));
    }
    EXPECT_TRUE(link->write(sent));
    EXPECT_TRUE(link->write("the end"));
    sent += "the end";

    device->setReadBufferSize(0);
    QByteArray arrived;
    EXPECT_TRUE(waitFor([&] {
        arrived += device->readAll();
        return arrived.size() >= sent.size();
    }));
    EXPECT_TRUE(arrived == sent); // a difference would print megabytes
}

TEST_F(TcpLink, MoreThanIsReadInOneGoArrivesInOrder)
{
    openBothEnds();
    QByteArray sent;
    for (int i = 0; sent.size() < 1'000'000; ++i) {
        sent.append(QByteArray::number(i));
    }
    device->write(sent);
    EXPECT_TRUE(waitFor([&] { return received.size() >= sent.size(); }));
    EXPECT_TRUE(received == sent);
}

TEST_F(TcpLink, ABrokenConnectionIsReportedOnce)
{
    openBothEnds();
    link->write("a command that the device never reads"); // which makes its end of the line reset
    device->abort();

    ASSERT_TRUE(waitFor([this] { return !closed.isEmpty(); }));
    EXPECT_FALSE(link->isOpen());
    EXPECT_FALSE(link->write("too late"));
    QCoreApplication::processEvents();
    EXPECT_EQ(closed.size(), 1);
}

TEST_F(TcpLink, SendsSmallWritesWithoutGatheringThem)
{
    openBothEnds();

    auto *socket = link->findChild<QTcpSocket *>();
    ASSERT_NE(socket, nullptr);
    EXPECT_EQ(socket->socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
}

TEST_F(TcpLink, TakesNoBytesWhileItIsNotOpen)
{
    EXPECT_FALSE(link->write("too soon"));
    link->open();
    EXPECT_FALSE(link->write("still too soon"));
}

TEST_F(TcpLink, ARefusedConnectionIsReportedOnceAndAfterOpenHasReturned)
{
    server.close();

    link->open();
    EXPECT_TRUE(closed.isEmpty());

    ASSERT_TRUE(waitFor([this] { return !closed.isEmpty(); }));
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    letEverythingArrive();
    ASSERT_EQ(closed.size(), 1);
    EXPECT_TRUE(closed[0].startsWith(QStringLiteral("cannot reach ") + link->name() + QStringLiteral(": ")))
        << qPrintable(closed[0]);
    EXPECT_EQ(opened, 0);
}

TEST_F(TcpLink, ACloseByTheDeviceIsReportedOnceAndAfterItsLastBytes)
{
    openBothEnds();
    QByteArray receivedBefore;
    QObject::connect(link.get(), &DeviceLink::closed, link.get(), [&] { receivedBefore = received; });

    device->write("farewell");
    device->disconnectFromHost();

    ASSERT_TRUE(waitFor([this] { return !closed.isEmpty(); }));
    letEverythingArrive();
    ASSERT_EQ(closed.size(), 1);
    EXPECT_TRUE(closed[0].startsWith(link->name() + QStringLiteral(" was closed: "))) << qPrintable(closed[0]);
    EXPECT_EQ(receivedBefore, QByteArray("farewell"));
    EXPECT_FALSE(link->isOpen());
    EXPECT_FALSE(link->write("too late"));
}

TEST_F(TcpLink, ACloseOnRequestIsSilentAndTheDeviceSeesIt)
{
    openBothEnds();

    link->write("last words");
    link->close();
    EXPECT_FALSE(link->isOpen());
    EXPECT_FALSE(link->write("too late"));

    EXPECT_TRUE(waitFor([this] { return device->state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_EQ(device->readAll(), QByteArray("last words"));
    letEverythingArrive();
    EXPECT_TRUE(closed.isEmpty());
}

TEST_F(TcpLink, ACloseBeforeTheConnectionStandsIsSilentAndConnectsToNobody)
{
    link->open();
    link->close();

    letEverythingArrive();
    EXPECT_EQ(opened, 0);
    EXPECT_TRUE(closed.isEmpty());

    // A connection that was begun meanwhile would arrive before a probe that begins now.
    letEverythingArrive();
    EXPECT_NE(server.nextPendingConnection(), nullptr);
    EXPECT_NE(server.nextPendingConnection(), nullptr);
    EXPECT_EQ(server.nextPendingConnection(), nullptr) << "more than the two probes";
}

TEST_F(TcpLink, AnAddressThatFailsAtOnceIsReportedAfterOpenHasReturned)
{
    QString error;
    // No TCP connection to a broadcast address is ever tried: the system refuses within the call.
    link = makeLink(QUrl(QStringLiteral("tcp://255.255.255.255:9")), &error);
    QObject::connect(link.get(), &DeviceLink::closed, link.get(),
                     [this](const QString &reason) { closed.append(reason); });

    link->open();
    EXPECT_TRUE(closed.isEmpty());

    EXPECT_TRUE(waitFor([this] { return closed.size() == 1; }));
}

TEST_F(TcpLink, CanBeOpenedAgainFromTheSlotThatHearsOfItsEnd)
{
    openBothEnds();
    QObject::connect(link.get(), &DeviceLink::closed, link.get(), [this] { link->open(); });

    device->abort();

    ASSERT_TRUE(waitFor([this] { return opened == 2; }));
    EXPECT_TRUE(link->isOpen());
    EXPECT_EQ(closed.size(), 1);
}

TEST_F(TcpLink, CanBeClosedAndOpenedAnyNumberOfTimes)
{
    for (int round = 1; round <= 20; ++round) {
        openBothEnds();
        EXPECT_EQ(opened, round);
        link->close();
    }
    EXPECT_TRUE(closed.isEmpty());
}

TEST_F(TcpLink, CanBeClosedFromTheSlotThatReceives)
{
    openBothEnds();
    QObject::connect(link.get(), &DeviceLink::received, link.get(), [this] { link->close(); });

    device->write("first");
    ASSERT_TRUE(waitFor([this] { return received == "first"; }));
    EXPECT_TRUE(waitFor([this] { return device->state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_TRUE(closed.isEmpty());
}

TEST_F(TcpLink, CanBeDestroyedWhileItIsOpen)
{
    openBothEnds();

    link.reset();

    EXPECT_TRUE(waitFor([this] { return device->state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_TRUE(closed.isEmpty());
}

// --- Names -----------------------------------------------------------------------------------

/** A thread of Qt's looks names up, and hands over by counts and locks inside Qt. */
class TcpLinkLookUp : public TcpLink
{
protected:
    void SetUp() override
    {
        if (biz::test::isUnderThreadSanitizer) {
            GTEST_SKIP() << "the sanitizer does not see what Qt's thread for look-ups does";
        }
        TcpLink::SetUp();
    }
};

TEST_F(TcpLinkLookUp, OfANameWithSeveralAddressesTheOneThatAnswersIsFound)
{
    constexpr int backlog = 0;
    // Connections to the first address are never accepted, and never refused either.
    QTcpServer deaf;
    ASSERT_TRUE(deaf.listen(QHostAddress(QString::fromLatin1(firstAddress)), server.serverPort()));
    ASSERT_EQ(listen(static_cast<int>(deaf.socketDescriptor()), backlog), 0);
    deaf.pauseAccepting();
    QTcpSocket inTheWay;
    inTheWay.connectToHost(deaf.serverAddress(), deaf.serverPort());
    ASSERT_TRUE(waitFor([&] { return inTheWay.state() == QAbstractSocket::ConnectedState; }));

    QString error;
    link = makeLink(QUrl(QStringLiteral("tcp://%1:%2").arg(QLatin1String(nameOfTwo)).arg(server.serverPort())), &error);
    QObject::connect(link.get(), &DeviceLink::closed, link.get(), [this](const QString &why) { closed.append(why); });
    link->open();
    EXPECT_TRUE(waitFor([this] { return link->isOpen(); }));
    EXPECT_TRUE(closed.isEmpty()) << closed.front().toStdString();
}

TEST_F(TcpLinkLookUp, ANameWithoutAnAddressIsTold)
{
    QString error;
    link = makeLink(QUrl(QStringLiteral("tcp://nobody.invalid:1")), &error);
    QObject::connect(link.get(), &DeviceLink::closed, link.get(), [this](const QString &why) { closed.append(why); });
    link->open();
    ASSERT_TRUE(waitFor([this] { return !closed.isEmpty(); }));
    EXPECT_TRUE(closed.front().startsWith("cannot reach tcp://nobody.invalid:1: ")) << closed.front().toStdString();
}
