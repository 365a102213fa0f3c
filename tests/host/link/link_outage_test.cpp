#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QUdpSocket>

#include "supervised_link.h"
#include <host/support/cable.h>
#include <host/support/pseudo_terminal.h>
#include <host/support/stalled_peer.h>

namespace {

using namespace biz::host;
using namespace biz::test;
using namespace std::chrono_literals;

class LinkOutage : public SupervisedLink
{
protected:
    void supervise(const QString &url)
    {
        QString error;
        supervisor.setLink(makeLink(QUrl(url), &error));
        ASSERT_EQ(error, QString());
    }

    /** Runs until the device has the frame, and returns all that it got up to it. */
    static QByteArray readUntil(StalledPeer &device, const QByteArray &frame)
    {
        QByteArray got;
        EXPECT_TRUE(waitFor([&] {
            got += device.read();
            return got.endsWith(frame) || device.hasEnded();
        }));
        return got;
    }
};

/** A device at the other end of a network cable. */
class CableOutage : public LinkOutage
{
protected:
    void SetUp() override
    {
        if (!cable.problem().isEmpty()) {
            GTEST_SKIP() << cable.problem().toStdString();
        }
        cable.atDevice([this] { device = std::make_unique<StalledPeer>(Cable::deviceAddress()); });
        supervise(device->url());
    }

    void startUp()
    {
        supervisor.start();
        ASSERT_TRUE(waitForUp());
        ASSERT_TRUE(waitFor([this] { return device->accept(); }));
        ASSERT_TRUE(supervisor.write("ok,"));
        ASSERT_EQ(readUntil(*device, "ok,"), QByteArray("ok,"));
        ASSERT_TRUE(waitFor([this] { return supervisor.link()->bytesHeld() == 0; }));
    }

    const Cable cable;
    std::unique_ptr<StalledPeer> device;
};

} // namespace

TEST_F(LinkOutage, APeerThatReadsNothingGetsNothingOfACommandThatHasEnded)
{
    StalledPeer device;
    supervise(device.url());
    supervisor.setReconnectInterval(1h); // the connection is made anew at once all the same
    supervisor.start();
    ASSERT_TRUE(waitForUp());
    ASSERT_TRUE(waitFor([&] { return device.accept(); }));
    const QByteArray stale(60'000, 'x');
    ASSERT_TRUE(supervisor.write(stale));
    EXPECT_FALSE(supervisor.mayWrite());
    supervisor.discardHeld();
    ASSERT_TRUE(waitFor([this] { return !supervisor.isUp(); }));
    ASSERT_TRUE(waitForUp());

    // What the device's own system had taken cannot be recalled.
    EXPECT_LT(readUntil(device, "never").size(), stale.size() / 2);
    ASSERT_TRUE(waitFor([&] { return device.accept(); }));
    ASSERT_TRUE(supervisor.write("fresh"));
    EXPECT_EQ(readUntil(device, "fresh"), QByteArray("fresh"));
}

TEST_F(LinkOutage, ASerialAdapterThatIsPulledOutIsLostAndUpOnceItIsBack)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("port"));
    auto adapter = std::make_unique<PseudoTerminal>();
    ASSERT_TRUE(QFile::link(adapter->port(), path));
    supervise(QStringLiteral("serial://") + path);
    supervisor.setReconnectInterval(10ms);
    supervisor.start();
    ASSERT_TRUE(waitForUp());

    ASSERT_TRUE(QFile::remove(path));
    adapter->hangUp();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_EQ(losses.first().error, Error::LinkClosed);
    ASSERT_TRUE(waitFor([this] { return supervisor.status().attempts >= 2; }));
    EXPECT_EQ(losses.size(), 1);

    PseudoTerminal again;
    ASSERT_TRUE(QFile::link(again.port(), path));
    ASSERT_TRUE(waitForUp());
    again.write("hello");
    EXPECT_TRUE(waitFor([this] { return received == "hello"; }));
}

TEST_F(CableOutage, ASecondWithoutACableIsToldAndNothingStaleArrivesAfterIt)
{
    startUp();
    cable.pull();
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(supervisor.write("stale,"));
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_GE(clock.elapsed(), 1000);
    EXPECT_LE(clock.elapsed(), 1000 + 500);
    EXPECT_EQ(losses.first().error, Error::LinkSilent);

    ASSERT_TRUE(waitFor([this] { return supervisor.status().attempts >= 2; })); // one attempt has failed
    cable.plug();
    clock.start();
    ASSERT_TRUE(waitForUp());
    EXPECT_LE(clock.elapsed(), 1100 + 1000);
    EXPECT_EQ(losses.size(), 1);

    // The device notices only now that the former connection has ended.
    EXPECT_EQ(device->read(), QByteArray());
    ASSERT_TRUE(waitFor([this] { return device->accept(); }));
    ASSERT_TRUE(supervisor.write("fresh"));
    EXPECT_EQ(readUntil(*device, "fresh"), QByteArray("fresh"));
}

TEST_F(CableOutage, AShortOneIsRiddenOut)
{
    supervisor.setWaitInFlight(2s);
    startUp();
    cable.pull();
    ASSERT_TRUE(supervisor.write("in time"));
    EXPECT_FALSE(waitForLosses(1, 300));
    cable.plug();
    EXPECT_EQ(readUntil(*device, "in time"), QByteArray("in time"));
    EXPECT_TRUE(supervisor.isUp());
}

TEST_F(CableOutage, AnIdleDeviceThatHasVanishedIsNoticed)
{
    startUp();
    cable.pull();
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_LE(clock.elapsed(), 15'000);
    EXPECT_EQ(losses.first().error, Error::LinkClosed);
}

TEST_F(CableOutage, AStopForgetsWhatHasNotArrived)
{
    startUp();
    cable.pull();
    ASSERT_TRUE(supervisor.write("stale,"));
    supervisor.stop();
    cable.plug();
    // The system would repeat it within a second or two.
    QByteArray got;
    EXPECT_FALSE(waitFor(
        [&] {
            got += device->read();
            return !got.isEmpty();
        },
        2500))
        << got.constData();
}

TEST_F(CableOutage, AStartWithoutACableIsALossAndUpOnceThereIsOne)
{
    cable.pull();
    supervisor.start();
    ASSERT_TRUE(waitForLosses(1));
    EXPECT_EQ(losses.first().error, Error::LinkCannotOpen);
    cable.plug();
    ASSERT_TRUE(waitForUp());
}

TEST_F(CableOutage, ADatagramThatWaitsForTheDevicesAddressCannotBeRecalled)
{
    QUdpSocket udpDevice;
    cable.atDevice([&] { ASSERT_TRUE(udpDevice.bind(QHostAddress(QLatin1String(Cable::deviceAddress())), 0)); });
    supervise(QStringLiteral("udp://%1:%2").arg(QLatin1String(Cable::deviceAddress())).arg(udpDevice.localPort()));
    supervisor.start();
    ASSERT_TRUE(waitForUp());
    cable.pull();
    ASSERT_TRUE(supervisor.write("on its way"));
    supervisor.stop();
    cable.plug();
    EXPECT_TRUE(waitFor([&] { return udpDevice.hasPendingDatagrams(); }));
}
