#include <algorithm>

#include "outage_fixture.h"
#include <host/support/stalled_peer.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** Or one frame, where that is more. */
constexpr qint64 mostHeldBytes = 64 * 1024;

/** A device that is there and reads nothing, under commands of a size that fills every buffer. */
class StalledDevice : public OutageFixture
{
protected:
    void SetUp() override
    {
        payloadBytes = 60'000;
        QString error;
        auto made = makeLink(QUrl(device.url()), &error);
        ASSERT_EQ(error, QString());
        link = made.get();
        ASSERT_TRUE(host.setLink(std::move(made)));
        host.setPipelined(true);
        startUp();
        ASSERT_TRUE(waitFor([this] { return device.accept(); }));
    }

    /** The commands of which whole frames come on the present connection, until it ends or `count` have come. */
    QVector<model_Protocoldata> readCommands(int count)
    {
        DemoFrameCodec codec;
        QVector<model_Protocoldata> commands;
        EXPECT_TRUE(waitFor([&] {
            commands += codec.decode(device.read()).records;
            return commands.size() >= count || device.hasEnded();
        }));
        return commands;
    }

    StalledPeer device;
    DeviceLink *link = nullptr;
};

} // namespace

TEST_F(StalledDevice, TheLinkHoldsNoMoreThanItsBoundAndNothingThatWasClearedArrives)
{
    constexpr int commands = 50;
    for (int i = 0; i < commands; ++i) {
        give(longWaitMs);
    }
    qint64 mostHeld = 0;
    ASSERT_TRUE(waitFor([&] {
        mostHeld = std::max(mostHeld, link->bytesHeld());
        return seen.count(QStringLiteral("sent")) > 0 && !link->canWrite();
    }));
    // The library has had time to take all of them, did nothing hold them back.
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(waitFor([&] {
        mostHeld = std::max(mostHeld, link->bytesHeld());
        return clock.elapsed() > 500;
    }));
    EXPECT_LE(mostHeld, mostHeldBytes);
    EXPECT_GE(host.pending(), commands - 1);

    host.clear();
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == commands; }));
    ASSERT_TRUE(waitForUps(2)); // the connection is made anew
    EXPECT_EQ(readCommands(commands).size(), 0);
    EXPECT_TRUE(device.hasEnded());

    ASSERT_TRUE(waitFor([this] { return device.accept(); }));
    payloadBytes = 0;
    const int fresh = give(longWaitMs);
    const QVector<model_Protocoldata> got = readCommands(1);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0].baData, QByteArray::number(fresh));
}
