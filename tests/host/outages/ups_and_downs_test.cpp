#include <algorithm>
#include <random>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include "outage_fixture.h"
#include "tcp_device.h"
#include "udp_device.h"
#include <host/support/pseudo_terminal.h>
#include <support/process_use.h>

using namespace biz::host;
using namespace biz::test;

namespace {

constexpr unsigned seed = 15;

/** BIZ_OUTAGE_ROUNDS makes the runs longer, or shorter. */
int rounds()
{
    constexpr int fewRounds = 60;
    const int wished = qEnvironmentVariableIntValue("BIZ_OUTAGE_ROUNDS");
    return wished > 0 ? wished : fewRounds;
}

/** Lines that fail and come back again and again, while commands are given, cancelled and cleared. */
class UpsAndDowns : public OutageFixture
{
protected:
    /** What happens for the first time may open, or allocate, something that stays. */
    static constexpr int warmUpRounds = 30;

    /** An allocator does not find the same place for everything each time; a leak in each round soon exceeds this. */
    static constexpr int noiseKibibytes = 256;

    static constexpr int reconnectMs = 1;

    void SetUp() override { ASSERT_TRUE(host.setReconnectInterval(reconnectMs)); }

    void TearDown() override
    {
        OutageFixture::TearDown();
        RecordProperty("slowestFirstAnswerMs", m_slowestFirstAnswerMs);
        RecordProperty("descriptors", m_descriptors);
        RecordProperty("residentKiB", m_resident);
        RecordProperty("residentKiBAtTheEnd", residentKibibytes());
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

    /** One to four commands; sometimes one of them is cancelled, or all are cleared. */
    void giveSome(int wait = longWaitMs)
    {
        host.setWhileDown(below(2) == 0 ? WhileDown::Hold : WhileDown::FailFast);
        for (int left = 1 + below(4); left > 0; --left) {
            CommandOptions options;
            options.urgent = below(4) == 0;
            options.validFor = std::chrono::milliseconds(below(3) == 0 ? 1 + below(20) : 0);
            const int number = give(wait, options);
            if (below(5) == 0) {
                host.cancel(ticketOf(number));
            }
        }
        if (below(10) == 0) {
            host.clear();
        }
    }

    /** Lets the loops and the line run for as long as a seeded number of turns takes. */
    void runALittle()
    {
        int turns = below(6);
        waitFor([&] { return turns-- <= 0; });
    }

    /** The line stands again: a command is answered soon, and everything before has ended by then. */
    void expectAnswerSoon()
    {
        constexpr int soonMs = reconnectMs + 1000;
        QElapsedTimer sinceReturn;
        sinceReturn.start();
        host.setWhileDown(WhileDown::Hold);
        ASSERT_TRUE(waitFor([this] { return isUp(); }));
        const int number = give(longWaitMs);
        ASSERT_TRUE(waitForEnd(number));
        EXPECT_EQ(outcomeOf(number), "answered");
        m_slowestFirstAnswerMs = std::max(m_slowestFirstAnswerMs, static_cast<int>(sinceReturn.elapsed()));
        EXPECT_LE(m_slowestFirstAnswerMs, soonMs);
        expectEndsAndForget();
    }

    void expectFlat(int round)
    {
        if (round <= warmUpRounds) {
            m_descriptors = openDescriptors();
            m_resident = residentKibibytes();
            return;
        }
        ASSERT_EQ(openDescriptors(), m_descriptors) << "seed " << seed << ", round " << round;
        if (!keepsFreedMemory) {
            ASSERT_LE(residentKibibytes(), m_resident + noiseKibibytes) << "seed " << seed << ", round " << round;
        }
    }

private:
    std::mt19937 m_random{seed};
    int m_descriptors = 0;
    int m_resident = 0;
    int m_slowestFirstAnswerMs = 0;
};

} // namespace

TEST_F(UpsAndDowns, OverTcpEachCommandEndsOnceAndNothingStaysOpen)
{
    TcpDevice device;
    device.onCommand = [this](const model_Protocoldata &command) {
        noteArrival(command);
    };
    beforeAnEndIsNoted = [&device] {
        device.readAll();
    };
    startUp(device.url());
    for (int round = 0; round < rounds() && !HasFatalFailure(); ++round) {
        giveSome();
        runALittle();
        if (below(3) == 0) {
            device.switchOff();
            runALittle();
            giveSome();
            device.switchOn();
        } else {
            device.hangUp(below(2) == 0);
            giveSome();
        }
        ASSERT_TRUE(waitForLosses(1));
        expectAnswerSoon();
        expectFlat(round);
    }
    beforeAnEndIsNoted = nullptr;
    host.stop();
}

TEST_F(UpsAndDowns, OverUdpEachCommandEndsOnceAndNothingStaysOpen)
{
    constexpr int shortWaitMs = 40; // nobody tells that the device is gone, so each command to it is waited for
    UdpDevice device;
    device.onCommand = [this](const model_Protocoldata &command) {
        noteArrival(command);
    };
    beforeAnEndIsNoted = [&device] {
        device.readAll();
    };
    startUp(device.url());
    for (int round = 0; round < rounds() && !HasFatalFailure(); ++round) {
        giveSome(shortWaitMs);
        runALittle();
        device.isMute = below(2) == 0;
        if (!device.isMute) {
            device.switchOff();
        }
        giveSome(shortWaitMs);
        runALittle();
        if (!device.isMute) {
            device.switchOn();
        }
        device.isMute = false;
        expectAnswerSoon();
        expectFlat(round);
        EXPECT_TRUE(isUp());
    }
    beforeAnEndIsNoted = nullptr;
    host.stop();
}

TEST_F(UpsAndDowns, OverASerialLineEachCommandEndsOnceAndNothingStaysOpen)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("port"));
    std::unique_ptr<PseudoTerminal> adapter;
    DemoFrameCodec codec;
    QTimer device;
    QObject::connect(&device, &QTimer::timeout, &device, [&] {
        for (const model_Protocoldata &command : codec.decode(adapter->read()).records) {
            adapter->write(codec.encode(command));
        }
    });
    const auto plugIn = [&] {
        adapter = std::make_unique<PseudoTerminal>();
        codec.reset();
        QFile::remove(path);
        ASSERT_TRUE(QFile::link(adapter->port(), path));
        device.start(1);
    };
    plugIn();
    startUp(QStringLiteral("serial://") + path);
    for (int round = 0; round < rounds() && !HasFatalFailure(); ++round) {
        giveSome();
        runALittle();
        device.stop();
        adapter->hangUp();
        giveSome();
        ASSERT_TRUE(waitForLosses(1));
        plugIn();
        expectAnswerSoon();
        expectFlat(round);
    }
    host.stop();
}
