// Many devices fed by many threads: nothing is lost, no order is broken, and nobody is
// sent to who is not free.

#include "osd_loops_fixture.h"

#include <algorithm>
#include <ctime>
#include <random>

using namespace osd_test;
using biz::test::nanoseconds;
using biz::test::ThreadId;

namespace {

constexpr int devices = 64;
constexpr int feeders = 8;
constexpr int commandsPerDevice = 1000;
constexpr int commands = devices * commandsPerDevice;
constexpr int commandsPerFeederAndDevice = commandsPerDevice / feeders;
constexpr unsigned seed = 20240517;

void sleepFor(long milliseconds)
{
    const timespec request{0, milliseconds * 1000000};
    nanosleep(&request, nullptr);
}

QString ipOf(int device)
{
    return QStringLiteral("10.0.1.%1").arg(device);
}

/** What the devices have been sent, and the replies that they still owe. */
class Devices
{
public:
    /** `when` counts passes; every fiftieth command or so is never answered. */
    void receive(const model_OsdParam &command, int when)
    {
        const int device = indexOf[command.qsIp];
        const auto feeder = static_cast<std::size_t>(command.ucOsdHead[0]);
        received.push_back(command.nTag);
        inOrder = inOrder && command.nTag == next[feeder][static_cast<std::size_t>(device)]++;
        if (random() % 50 != 0) {
            owed.push_back({when + static_cast<int>(random() % 4), command});
        }
    }

    void answerWhatIsDue(int now)
    {
        const auto due = std::partition(owed.begin(), owed.end(), [now](const Owed &one) { return one.when > now; });
        std::for_each(due, owed.end(), [this](const Owed &one) {
            Channel::addToReceiveQueue(one.command);
            ++answered;
        });
        owed.erase(due, owed.end());
    }

    QMap<QString, int> indexOf;
    std::vector<quint32> received;
    bool inOrder = true;
    int answered = 0;

private:
    struct Owed
    {
        int when;
        model_OsdParam command;
    };

    std::mt19937 random{seed};
    std::vector<Owed> owed;
    std::vector<std::vector<quint32>> next{feeders, std::vector<quint32>(devices)};
};

class OsdManyDevices : public OsdLoops
{
protected:
    OsdManyDevices()
    {
        signalsOfWorker.watchLocks(false);
        for (int device = 0; device < devices; ++device) {
            all.indexOf[ipOf(device)] = device;
        }
        QObject::connect(&worker, &Channel::signalSendMessage, [this](void *pointer) {
            const auto &command = *static_cast<model_OsdParam *>(pointer);
            sentWhileHeld += freeBeforePass.value(command.qsIp) ? 0 : 1;
            freeBeforePass[command.qsIp] = false; // a second one in the same pass is one too many
            all.receive(command, pass);
        });
    }

    /** Feeds its share of every device's commands, numbered from 0, in bursts. */
    static void feed(int feeder)
    {
        for (quint32 number = 0; number < commandsPerFeederAndDevice; ++number) {
            for (int device = 0; device < devices; ++device) {
                model_OsdParam command = record(ipOf((device + feeder) % devices), number, 0);
                command.ucOsdHead[0] = static_cast<unsigned char>(feeder);
                Channel::addToSendQueue(command);
            }
            sleepFor(1 + (feeder + static_cast<int>(number)) % 5);
        }
    }

    void startFeeders()
    {
        for (int feeder = 0; feeder < feeders; ++feeder) {
            time.start("feeder", [feeder] { feed(feeder); });
        }
    }

    /** Lets everybody run up to the send loop's next pass, and then that pass. */
    void nextSendPass()
    {
        time.advance(time.wakeUpTime(sendLoop) - time.now() - nanoseconds(1));
        ++pass;
        all.answerWhatIsDue(pass);
        freeBeforePass = Channel::m_bRetFlag;
        sendPasses();
    }

    Devices all;
    QMap<QString, bool> freeBeforePass;
    int pass = 0;
    int sentWhileHeld = 0;
};

TEST_F(OsdManyDevices, SixtyFourDevicesGetAThousandCommandsEachFromEightThreads)
{
    startSendLoop();
    startReceiveLoop();
    startFeeders();

    constexpr int passesThatSuffice = 20000;
    while (all.received.size() < commands && pass < passesThatSuffice) {
        nextSendPass();
    }

    EXPECT_EQ(all.received.size(), static_cast<std::size_t>(commands)) << "nothing is lost or sent twice";
    EXPECT_TRUE(all.inOrder) << "each device gets each feeder's commands in the order of the calls";
    EXPECT_EQ(sentWhileHeld, 0);
    EXPECT_EQ(Channel::m_qsIp.size(), devices);
    for (const auto &queue : Channel::queueHexCmd) {
        EXPECT_TRUE(queue.empty());
    }
    EXPECT_EQ(signalsOfWorker.tagsOf("signalSendReceiveMessage").size() + Channel::receivequeueHexCmd.size(),
              static_cast<std::size_t>(all.answered))
        << "no reply is lost";
}

} // namespace
