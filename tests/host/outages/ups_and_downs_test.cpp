#include <random>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include "outage_fixture.h"
#include "tcp_device.h"
#include <host/pseudo_terminal.h>

using namespace biz::host;
using namespace biz::test;

namespace {

constexpr unsigned seed = 15;

/** Lines that fail and come back again and again, while commands are given, cancelled and cleared. */
class UpsAndDowns : public OutageFixture
{
protected:
    /** What happens for the first time may open something that stays open. */
    static constexpr int warmUpRounds = 20;

    void SetUp() override
    {
        ASSERT_TRUE(host.setReconnectInterval(1));
        SCOPED_TRACE(seed);
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

    /** One to four commands; sometimes one of them is cancelled, or all are cleared. */
    void giveSome()
    {
        host.setWhileDown(below(2) == 0 ? WhileDown::Hold : WhileDown::FailFast);
        for (int left = 1 + below(4); left > 0; --left) {
            CommandOptions options;
            options.urgent = below(4) == 0;
            options.validFor = std::chrono::milliseconds(below(3) == 0 ? 1 + below(20) : 0);
            const int number = give(longWaitMs, options);
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

    /** A command is answered, sooner or later, and everything before has ended by then. */
    void expectAnswer()
    {
        host.setWhileDown(WhileDown::Hold);
        ASSERT_TRUE(waitFor([this] { return isUp(); }));
        const int number = give(longWaitMs);
        ASSERT_TRUE(waitForEnd(number));
        EXPECT_EQ(outcomeOf(number), "answered");
    }

    void expectFlat(int round)
    {
        if (round == warmUpRounds) {
            m_descriptors = openDescriptors();
        } else if (round > warmUpRounds) {
            ASSERT_EQ(openDescriptors(), m_descriptors) << "seed " << seed << ", round " << round;
        }
    }

private:
    std::mt19937 m_random{seed};
    int m_descriptors = 0;
};

} // namespace

TEST_F(UpsAndDowns, OverTcpEachCommandEndsOnceAndNothingStaysOpen)
{
    constexpr int rounds = 400;
    TcpDevice device;
    device.onCommand = [this](const model_Protocoldata &command) {
        noteArrival(command);
    };
    beforeAnEndIsNoted = [&device] {
        device.readAll();
    };
    startUp(device.url());
    for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
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
        ASSERT_TRUE(waitForLosses(round + 1));
        expectAnswer();
        expectFlat(round);
    }
    beforeAnEndIsNoted = nullptr;
    host.stop();
}

TEST_F(UpsAndDowns, OverASerialLineEachCommandEndsOnceAndNothingStaysOpen)
{
    constexpr int rounds = 200;
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
    for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
        giveSome();
        runALittle();
        device.stop();
        adapter->hangUp();
        giveSome();
        ASSERT_TRUE(waitForLosses(round + 1));
        plugIn();
        expectAnswer();
        expectFlat(round);
    }
    host.stop();
}
