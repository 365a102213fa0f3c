#include <iostream>

#include <QtCore/QProcess>

#include "answering_network.h"
#include "osd_host_fixture.h"
#include <host/support/cable.h>
#include <host/support/thread_sanitizer.h>

using namespace biz::host;
using namespace biz::test;

namespace {

constexpr int liveDevices = 10;
constexpr int deadDevices = 1000;

QString liveAddress(int number)
{
    return QStringLiteral("10.77.0.%1").arg(number + 11);
}

QString deadAddress(int number)
{
    constexpr int perNet = 250;
    return QStringLiteral("10.77.%1.%2").arg(number / perNet + 1).arg(number % perNet + 1);
}

void addAddress(const QString &address, const QString &port)
{
    ASSERT_EQ(QProcess::execute(QStringLiteral("ip"), {"addr", "add", address + QStringLiteral("/16"), "dev", port}),
              0);
}

/** A network in which most addresses belong to nobody, so that the system looks for them in vain. */
class OsdUnreachable : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!cable.problem().isEmpty()) {
            GTEST_SKIP() << cable.problem().toStdString();
        }
        addAddress(QStringLiteral("10.77.0.1"), QStringLiteral("host0"));
        cable.atDevice([this] {
            for (int i = 0; i < liveDevices; ++i) {
                addAddress(liveAddress(i), QStringLiteral("device0"));
            }
            network = std::make_unique<AnsweringNetwork>();
        });
        ASSERT_TRUE(host.setPort(network->port()));
        QObject::connect(&host, &OsdHost::ended, [this](Ticket, const OsdCommandResult &result) {
            (result.ip.startsWith(QStringLiteral("10.77.0.")) ? liveEnds : deadEnds).push_back(result);
        });
    }

    void enqueue(const QString &ip, int waitMs)
    {
        model_OsdParam command;
        command.qsIp = ip;
        command.iWaitTime = waitMs;
        command.baData = QByteArray(payloadBytes, 'x');
        ASSERT_NE(host.enqueue(command), 0U);
    }

    static constexpr int payloadBytes = 40;

    Cable cable;
    std::unique_ptr<AnsweringNetwork> network;
    OsdHost host;
    std::vector<OsdCommandResult> liveEnds;
    std::vector<OsdCommandResult> deadEnds;
};

} // namespace

TEST_F(OsdUnreachable, AddressesDelayNoDeviceThatIsThere)
{
    constexpr int waitMs = 500; // no whole second: given up at the next look, and sent to again
    constexpr int liveWaitMs = 5000;
    constexpr std::size_t deadRounds = 4; // each device's datagrams pile up until the system gives its address up
    constexpr double longestMs = 1500.0;  // the system gives an address up after three seconds
    for (std::size_t round = 0; round < deadRounds; ++round) {
        for (int i = 0; i < deadDevices; ++i) {
            enqueue(deadAddress(i), waitMs);
        }
    }
    ASSERT_TRUE(host.start());
    // The live ones get theirs while the others' datagrams wait, one round after the other.
    const QDeadlineTimer patience(patienceMs);
    for (std::size_t round = 1; deadEnds.size() < (deadRounds - 1) * deadDevices; ++round) {
        ASSERT_FALSE(patience.hasExpired());
        for (int i = 0; i < liveDevices; ++i) {
            enqueue(liveAddress(i), liveWaitMs);
        }
        ASSERT_TRUE(waitFor([&] { return liveEnds.size() == round * liveDevices; }));
    }
    double slowest = 0.0;
    double longest = 0.0;
    for (const OsdCommandResult &result : liveEnds) {
        EXPECT_EQ(result.outcome, Outcome::Answered) << result.ip.toStdString() << ": " << result.reason.toStdString();
        slowest = std::max(slowest, result.roundTripMs);
        longest = std::max(longest, result.history.last().atMs);
    }
    std::cout << liveEnds.size() << " commands of " << liveDevices << " devices answered beside " << deadDevices
              << " addresses of nobody, " << deadEnds.size() << " of whose commands were given up; slowest round trip "
              << slowest << " ms, " << longest << " ms from its enqueuing" << std::endl;
    if (!isUnderThreadSanitizer) { // whose build takes ten times as long
        EXPECT_LT(longest, longestMs) << "a command has waited for room";
    }
}
