// The library alone, without the host kit: the smallest correct host of the device command
// channel. Every duty that the channel leaves to its host is done here once, with the
// number that it has in biz_cmdswork.h.
// In place of a link to a device, the host talks to a function that answers like an A2.
//
// A host that can use biz::host::DeviceHost of the host kit should: it does all of this, and tells
// late, duplicate and foreign replies apart, reports give-ups and survives any stop.

#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include <QtCore/QByteArray>
#include <QtCore/QTextStream>

#include <biz_cmdswork/biz_cmdswork.h>

namespace {

/** Hands a command to the device, or a reply to the host. */
using HandOver = std::function<void(const model_Protocoldata &)>;

class RawHost
{
public:
    /** `transmit` gets each command that is to go to the device. */
    RawHost(int deviceType, HandOver transmit)
        : m_transmit(std::move(transmit))
    {
        // Duty 1: say which model is connected, which picks the rules for its replies.
        biz_CMDSWork::deviceType = deviceType;
        biz_CMDSWork::nSysPlan = 0; // each command waits for the reply to the former one

        // Duty 2: connect directly. The signals carry a pointer to a record that the next
        // take overwrites, so it is copied, or used up, during the emission. These slots
        // run on the loops' threads.
        QObject::connect(
            &m_worker, &biz_CMDSWork::signalInitCore, &m_worker, [this] { m_isResend = true; }, Qt::DirectConnection);
        QObject::connect(
            &m_worker, &biz_CMDSWork::signalSendMessage, &m_worker,
            [this](void *record) { onSend(*static_cast<const model_Protocoldata *>(record)); }, Qt::DirectConnection);
        QObject::connect(
            &m_worker, &biz_CMDSWork::signalSendReceiveMessage, &m_worker,
            [this](void *record) { onAccepted(*static_cast<const model_Protocoldata *>(record)); },
            Qt::DirectConnection);

        // Duty 2, too: set the run flags, which the constructor leaves unset, then run the loops
        // on threads of your own.
        m_worker.m_bSendRun = true;
        m_worker.m_bRecvRun = true;
        m_sendLoop = std::thread(&biz_CMDSWork::a1_GetQueueWork, &m_worker);
        m_receiveLoop = std::thread(&biz_CMDSWork::a1_receiveGetQueueWork, &m_worker);
    }

    ~RawHost()
    {
        // Duty 7: stop, join, and only then let the worker go: its destructor waits for
        // nobody. Each loop returns after the pass that it is making.
        m_worker.m_bSendRun = false;
        m_worker.m_bRecvRun = false;
        m_sendLoop.join();
        m_receiveLoop.join();
    }

    RawHost(const RawHost &) = delete;
    RawHost &operator=(const RawHost &) = delete;

    void enqueue(const model_Protocoldata &command)
    {
        // Duty 3: push under the lock.
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::queueHexCmd.push(command);
        ++m_waiting;
    }

    void received(const model_Protocoldata &reply)
    {
        // Duty 5: every reply goes through the receive queue, which has a lock of its own.
        // The channel judges it; a refused one goes to the error log and is heard of no more.
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        biz_CMDSWork::receivequeueHexCmd.push(reply);
    }

    /** Nothing waits and nothing is in flight. The channel does not tell: it is asked. */
    bool isIdle() const
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        return biz_CMDSWork::queueHexCmd.empty() && biz_CMDSWork::bRetFlag;
    }

private:
    void onSend(const model_Protocoldata &command)
    {
        // Duty 4: transmit what is announced. A resend announces the same record again,
        // 20 ms after signalInitCore; it was taken from the queue only once.
        {
            const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
            m_inFlight = command.ucHead[0];
            if (!m_isResend) {
                --m_waiting;
            }
        }
        m_isResend = false;
        m_transmit(command);
    }

    void onAccepted(const model_Protocoldata &reply)
    {
        // Duty 6: open the gate when, and only when, the reply settles the command in
        // flight. A late reply to a command that was given up carries another sequence byte;
        // if it comes while the next command is just being taken, the queue is already
        // shorter than this host knows, and the gate is that command's.
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        if (reply.ucHead[0] == m_inFlight && biz_CMDSWork::queueHexCmd.size() == m_waiting) {
            biz_CMDSWork::bRetFlag = true;
        }
    }

    const HandOver m_transmit;
    biz_CMDSWork m_worker;
    std::thread m_sendLoop;
    std::thread m_receiveLoop;
    bool m_isResend = false;   // used on the send loop's thread only
    std::size_t m_waiting = 0; // guarded by HexCmdlock, as the queue is that it counts
    int m_inFlight = -1;       // guarded by HexCmdlock: the sequence byte sent last
};

/** An A2 that answers F1/08 as the model's rule asks, but loses one command on the way. */
class LoopbackDevice
{
public:
    void take(const model_Protocoldata &command, const HandOver &answer)
    {
        QTextStream(stdout) << "to the device: sequence " << command.ucHead[0] << ", index " << command.ucHead[3]
                            << '\n';
        if (!m_hasLostOne && command.ucHead[3] == 1) {
            m_hasLostOne = true;
            return;
        }
        constexpr int length = 354;
        model_Protocoldata reply = command;
        reply.ucHead[4] = length & 0xFF;
        reply.ucHead[5] = length >> 8;
        reply.baData = QByteArray(length, '\0');
        answer(reply);
    }

private:
    bool m_hasLostOne = false;
};

} // namespace

int main()
{
    using namespace std::chrono;

    LoopbackDevice device;
    RawHost host(0x1400, [&](const model_Protocoldata &command) {
        device.take(command, [&](const model_Protocoldata &reply) { host.received(reply); });
    });

    for (unsigned char index = 0; index < 3; ++index) {
        model_Protocoldata command;
        command.ucHead[1] = 0xF1;
        command.ucHead[2] = 0x08;
        command.ucHead[3] = index;
        command.iWaitTime = 150; // a pass of 10 ms counts as 15: the resend comes after 100 ms
        host.enqueue(command);
    }

    const auto deadline = steady_clock::now() + seconds(10);
    while (!host.isIdle() && steady_clock::now() < deadline) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    const bool done = host.isIdle();
    QTextStream(stdout) << (done ? "every command is settled\n" : "commands are still waiting\n");
    return done ? 0 : 1;
}
