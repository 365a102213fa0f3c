#include <gtest/gtest.h>

#include <map>

#include <QtCore/QTemporaryDir>

#include <host/device_host.h>
#include <tools/support/running_simulator.h>

// The kit's host against the built simulator, whose line harms replies: every command ends once,
// and the host finds the next good reply behind whatever came.

namespace {

using namespace biz;
using namespace biz::test;

constexpr int commandCount = 30;

constexpr int shortWaitMs = 150; ///< where replies are lost, each of which costs this time
constexpr int longWaitMs = 5000; ///< where none is, however slow the machine

struct Harm
{
    const char *listen;
    const char *fault; ///< an option of the simulator
    bool mayLoseReplies = false;

    int waitMs() const { return mayLoseReplies ? shortWaitMs : longWaitMs; }

    QString simulatorArguments() const
    {
        const bool isBurst = QByteArray(fault) == "burst";
        return QStringLiteral("--model A2 --listen %1 --seed 3 --fault-rate %2=0.3").arg(listen, fault) +
               (isBurst ? " --burst-size 20" : "");
    }
};

void PrintTo(const Harm &harm, std::ostream *out)
{
    *out << harm.listen << ' ' << harm.fault;
}

/** A host, and how each of its commands ended. */
class EndingHost
{
public:
    EndingHost(const QString &url, int waitMs)
    {
        EXPECT_TRUE(host.setLink(QUrl(url)) && host.setModel("A2") && host.setDefaultWaitTime(waitMs) &&
                    host.setReconnectInterval(0))
            << qPrintable(host.errorString());
        host.setWhileDown(host::WhileDown::Hold);
        QObject::connect(&host, &host::DeviceHost::ended, &host, [this](host::Ticket ticket, const auto &result) {
            ++ends[ticket];
            ++outcomes[host::outcomeName(result.outcome)];
        });
        QObject::connect(&host, &host::DeviceHost::linkStateChanged, &host, [this](const host::LinkStatus &status) {
            closes += status.state == host::LinkState::Lost ? 1 : 0;
        });
    }

    void enqueue(int count)
    {
        for (int i = 0; i < count; ++i) {
            model_Protocoldata command;
            command.ucHead[1] = 0xF1;
            command.ucHead[2] = 0x08;
            ends[host.enqueue(command)] = 0;
        }
    }

    bool waitForAllEnds()
    {
        return waitFor([this] { return host.pending() == 0 && endsInAll() >= static_cast<int>(ends.size()); });
    }

    int endsInAll() const
    {
        int all = 0;
        for (const auto &[ticket, count] : ends) {
            all += count;
        }
        return all;
    }

    void expectOneEndEach() const
    {
        for (const auto &[ticket, count] : ends) {
            EXPECT_EQ(count, 1) << "ticket " << ticket;
        }
    }

    biz::host::DeviceHost host;
    std::map<host::Ticket, int> ends;
    std::map<QString, int> outcomes;
    int closes = 0;
};

class HarmedLine : public testing::TestWithParam<Harm>
{
};

TEST_P(HarmedLine, EndsEveryCommandOnceAndTheLastOneWell)
{
    const Harm harm = GetParam();
    // The last command, which meets no fault, is the one after which the host must have found its way.
    RunningSimulator simulator(harm.simulatorArguments());
    EndingHost ending(simulator.listeningUrl(), harm.waitMs());
    ending.enqueue(commandCount);
    ASSERT_TRUE(ending.host.start());
    ASSERT_TRUE(ending.waitForAllEnds());
    ending.expectOneEndEach();
    const int answered = ending.outcomes["answered"];
    const int gaveUp = ending.outcomes["gaveUp"];
    EXPECT_EQ(answered + gaveUp, commandCount);
    // With a reply in three harmed, both of a command's are seldom; none is where replies get through.
    EXPECT_GE(answered, harm.mayLoseReplies ? commandCount / 2 : commandCount);
    EXPECT_EQ(ending.closes, 0);
    ending.host.stop();
}

TEST_P(HarmedLine, EndsEveryCommandOnceWhenTheyAreSentBackToBack)
{
    const Harm harm = GetParam();
    RunningSimulator simulator(harm.simulatorArguments());
    EndingHost ending(simulator.listeningUrl(), harm.waitMs());
    ending.host.setPipelined(true);
    ending.enqueue(commandCount);
    ASSERT_TRUE(ending.host.start());
    ASSERT_TRUE(ending.waitForAllEnds());
    ending.expectOneEndEach();
    ending.host.stop();
}

INSTANTIATE_TEST_SUITE_P(
    Host, HarmedLine,
    testing::Values(Harm{"tcp://127.0.0.1:0", "flippedBits", true}, Harm{"tcp://127.0.0.1:0", "splitFrames"},
                    Harm{"tcp://127.0.0.1:0", "mergedFrames", true}, Harm{"tcp://127.0.0.1:0", "junk"},
                    Harm{"tcp://127.0.0.1:0", "burst"}, Harm{"udp://127.0.0.1:0", "flippedBits", true},
                    Harm{"udp://127.0.0.1:0", "splitFrames", true}, Harm{"udp://127.0.0.1:0", "mergedFrames", true},
                    Harm{"udp://127.0.0.1:0", "junk"}, Harm{"udp://127.0.0.1:0", "burst"},
                    Harm{"serial:", "flippedBits", true}, Harm{"serial:", "splitFrames"},
                    Harm{"serial:", "mergedFrames", true}, Harm{"serial:", "junk"}, Harm{"serial:", "burst"}));

struct Loss
{
    const char *listen;
    const char *fault;
};

void PrintTo(const Loss &loss, std::ostream *out)
{
    *out << loss.listen << ' ' << loss.fault;
}

class LostLine : public testing::TestWithParam<Loss>
{
};

TEST_P(LostLine, IsToldAndCommandsThatAreStoppedEndOnceAndTheNextStartAnswers)
{
    const Loss loss = GetParam();
    const QTemporaryDir folder;
    const QString listen = QString::fromLatin1(loss.listen).arg(folder.path());
    const bool vanishes = QByteArray(loss.fault) == "vanish";
    RunningSimulator simulator(QStringLiteral("--model A2 --events --listen %1 --fault 3=%2").arg(listen, loss.fault) +
                               (vanishes ? " --vanish-for 200" : ""));
    EndingHost ending(simulator.listeningUrl(), longWaitMs);
    ending.enqueue(5);
    ASSERT_TRUE(ending.host.start());
    ASSERT_TRUE(waitFor([&] { return ending.closes == 1; }));
    ending.host.stop();
    ASSERT_TRUE(ending.waitForAllEnds());
    ending.expectOneEndEach();
    EXPECT_EQ(ending.outcomes["answered"], 2);
    EXPECT_EQ(ending.outcomes["unreachable"], 1);
    EXPECT_EQ(ending.outcomes["stopped"], 2);

    if (vanishes || listen.startsWith("serial")) {
        ASSERT_FALSE(simulator.lineWith("listens again").isEmpty());
    }
    ending.enqueue(5);
    ASSERT_TRUE(ending.host.start());
    ASSERT_TRUE(ending.waitForAllEnds());
    ending.expectOneEndEach();
    EXPECT_EQ(ending.outcomes["answered"], 7);
    ending.host.stop();
}

INSTANTIATE_TEST_SUITE_P(Host, LostLine,
                         testing::Values(Loss{"tcp://127.0.0.1:0", "close"}, Loss{"tcp://127.0.0.1:0", "vanish"},
                                         Loss{"serial://%1/a2", "close"}, Loss{"serial://%1/a2", "vanish"}));

TEST(VanishedUdpDevice, CostsTheCommandsOfItsAbsenceAndNoLater)
{
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --vanish-for 150 --fault 3=vanish --events");
    EndingHost ending(simulator.listeningUrl(), shortWaitMs);
    ending.enqueue(commandCount);
    ASSERT_TRUE(ending.host.start());
    ASSERT_TRUE(ending.waitForAllEnds());
    ending.expectOneEndEach();
    // Each command has twice the wait, so that the absence can reach into two of them on a slow machine.
    EXPECT_GE(ending.outcomes["answered"], commandCount - 2);
    EXPECT_EQ(ending.closes, 0);
    ending.host.stop();
}

} // namespace
