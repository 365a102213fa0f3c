#include <QtNetwork/QNetworkInterface>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdAddresses : public OsdHostFixture
{
};

} // namespace

TEST_F(OsdAddresses, OtherSpellingsOfAnAddressAreRefusedWithTheCanonicalOne)
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
    EXPECT_EQ(host->error(), Error::InvalidAddress);
    EXPECT_EQ(host->pending(), 0);
}

TEST_F(OsdAddresses, AnInterfaceIsToBeNamedAsTheSystemNamesItInTheSendersOfReplies)
{
    const QNetworkInterface first = QNetworkInterface::interfaceFromIndex(1);
    ASSERT_TRUE(first.isValid());
    EXPECT_EQ(host->enqueue(command("fe80::1%1", answeredWaitMs)), 0U);
    EXPECT_EQ(host->error(), Error::InvalidAddress);
    EXPECT_TRUE(host->errorString().endsWith(QStringLiteral("which is \"fe80::1%") + first.name() + '"'))
        << host->errorString().toStdString();
    enqueue(command(QStringLiteral("fe80::1%") + first.name(), answeredWaitMs));
}

TEST_F(OsdAddresses, AddressesOfMoreThanOneDeviceAreRefused)
{
    for (const char *address : {"0.0.0.0", "::", "255.255.255.255", "224.0.0.1", "239.255.255.250", "ff02::1"}) {
        SCOPED_TRACE(address);
        EXPECT_EQ(host->enqueue(command(address, answeredWaitMs)), 0U);
        EXPECT_EQ(host->error(), Error::InvalidAddress);
        EXPECT_TRUE(host->errorString().contains("one device")) << host->errorString().toStdString();
    }
    EXPECT_EQ(host->devices().size(), 0);
    EXPECT_EQ(host->counters().enqueued, 0U);
}

TEST_F(OsdAddresses, APayloadThatFitsNoDatagramIsRefused)
{
    const QByteArray tooLong(OsdDatagramCodec::maxPayload + 1, 'x');
    EXPECT_EQ(host->enqueue(command("127.0.0.1", answeredWaitMs, tooLong)), 0U);
    EXPECT_EQ(host->error(), Error::CannotEncode);
    EXPECT_TRUE(host->errorString().contains("65000")) << host->errorString().toStdString();
}

TEST_F(OsdAddresses, ThePortZeroIsRefused)
{
    EXPECT_FALSE(host->setPort(0));
    EXPECT_EQ(host->error(), Error::OutOfRange);
}

TEST_F(OsdAddresses, ALocalAddressThatIsNoneIsRefused)
{
    EXPECT_FALSE(host->setLocalAddress("here"));
    EXPECT_EQ(host->error(), Error::InvalidAddress);
    EXPECT_TRUE(host->errorString().contains("here"));
    ASSERT_TRUE(host->setLocalAddress("127.0.0.1"));
    PlayedDevice &one = device(1);
    start();
    EXPECT_EQ(waitForOutcome(enqueue(one)), "answered");
}

TEST_F(OsdAddresses, AnAddressThatIsNotOursCannotBeBound)
{
    ASSERT_TRUE(host->setLocalAddress("192.0.2.1"));
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::CannotBind);
    EXPECT_TRUE(host->errorString().contains("192.0.2.1")) << host->errorString().toStdString();
    EXPECT_FALSE(host->isRunning());
}

TEST_F(OsdAddresses, AnAddressThatCannotBeSentToIsReportedAndLeftToItsTimeOut)
{
    ASSERT_TRUE(host->setLocalAddress("127.0.0.1"));
    start();
    const Ticket ticket = enqueue(command("::1", givenUpWaitMs));
    ASSERT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_TRUE(ends[ticket].front().reason.contains("could not be sent"));
    EXPECT_EQ(count("socketError"), 1);
    EXPECT_EQ(count("sent"), 0);
}

TEST_F(OsdAddresses, SettingsOfTheSocketsStayWhileTheHostRuns)
{
    PlayedDevice &one = device(1);
    start();
    EXPECT_FALSE(host->setPort(1));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_FALSE(host->setLocalAddress("127.0.0.1"));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_TRUE(host->errorString().contains("local address")) << host->errorString().toStdString();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    EXPECT_EQ(host->counters().answered, 1U);
}

TEST_F(OsdAddresses, DevicesOfBothFamiliesAreReached)
{
    const QString ipv6 = QStringLiteral("::1");
    QUdpSocket probe;
    if (!probe.bind(QHostAddress(ipv6), device(0).port())) {
        GTEST_SKIP() << "this machine has no IPv6: " << probe.errorString().toStdString();
    }
    probe.close();
    PlayedDevice other(ipv6, device(0).port());
    start();
    ASSERT_TRUE(waitForEnd(enqueue(device(1))));
    EXPECT_EQ(waitForOutcome(enqueue(other)), "answered");
    EXPECT_EQ(host->counters().answered, 2U);
}
