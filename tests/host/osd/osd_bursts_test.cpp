#include <iostream>

#include <QtCore/QElapsedTimer>

#include "answering_network.h"
#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

struct Burst
{
    int devices;
    int bytes;
    bool isTogether; ///< all answers come 50 ms after the last command, to a host that is busy then
};

std::ostream &operator<<(std::ostream &out, const Burst &burst)
{
    return out << burst.devices << " x " << burst.bytes << " bytes, "
               << (burst.isTogether ? "all after 50 ms" : "each at once");
}

std::string nameOf(const testing::TestParamInfo<Burst> &info)
{
    return std::to_string(info.param.devices) + "x" + std::to_string(info.param.bytes) +
           (info.param.isTogether ? "_allTogether" : "_eachAtOnce");
}

QString addressOf(int device)
{
    constexpr int perNet = 250;
    return QStringLiteral("127.20.%1.%2").arg(device / perNet).arg(device % perNet + 1);
}

class OsdBursts : public testing::TestWithParam<Burst>
{
};

} // namespace

TEST_P(OsdBursts, AreAllHeard)
{
    constexpr int waitMs = 30000;
    constexpr int patienceOfBurstMs = 100000;
    constexpr int busyMs = 100; // longer than the answers take to come
    const Burst burst = GetParam();
    AnsweringNetwork network;
    if (burst.isTogether) {
        network.keepAnswersUntil(burst.devices, std::chrono::milliseconds(50));
    }
    OsdHost host;
    ASSERT_TRUE(host.setPort(network.port()));
    int answered = 0;
    int ended = 0;
    QObject::connect(&host, &OsdHost::ended, [&](Ticket, const OsdCommandResult &result) {
        ++ended;
        answered += result.outcome == Outcome::Answered ? 1 : 0;
    });
    model_OsdParam command;
    command.baData = QByteArray(burst.bytes, 'x');
    command.iWaitTime = waitMs;
    for (int i = 0; i < burst.devices; ++i) {
        command.qsIp = addressOf(i);
        ASSERT_NE(host.enqueue(command), 0U);
    }
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(host.start());
    if (burst.isTogether) {
        const auto count = static_cast<quint64>(burst.devices);
        ASSERT_TRUE(waitFor([&] { return host.counters().sent == count; }, patienceOfBurstMs));
        const QDeadlineTimer patience(patienceOfBurstMs);
        while (network.answers() < burst.devices && !patience.hasExpired()) {
            keepThreadBusy(busyMs);
        }
        ASSERT_EQ(network.answers(), burst.devices) << "the socket of the devices that are played has lost commands";
    }
    EXPECT_TRUE(waitFor([&] { return ended == burst.devices; }, patienceOfBurstMs));
    const Counters counters = host.counters();
    std::cout << burst << ": " << answered << " answered in " << clock.elapsed() << " ms, slowest round trip "
              << counters.roundTripMaxMs << " ms, dropped by the system " << counters.overflowed << std::endl;
    EXPECT_EQ(answered, burst.devices);
    EXPECT_EQ(counters.overflowed, 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, OsdBursts,
                         testing::Values(Burst{300, 40, false}, Burst{300, 40, true}, Burst{1000, 40, false},
                                         Burst{1000, 40, true}, Burst{10000, 40, false}, Burst{10000, 40, true},
                                         Burst{2000, 1400, false}, Burst{2000, 1400, true}),
                         nameOf);
