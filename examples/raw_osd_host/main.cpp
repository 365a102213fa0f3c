// The library alone, without the host kit: the smallest correct host of the OSD command
// channel. Every duty that the channel leaves to its host is done here once, with the number that
// it has in biz_osd_cmdswork.h. In place of a network, the host talks to a function; one of its devices never answers.
//
// A host that can use biz::host::OsdHost of the host kit should: it does all of this, and says how
// each command ended, which the channel itself tells nobody.

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include <QtCore/QTextStream>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

namespace {

using namespace std::chrono_literals;

class RawOsdHost
{
public:
    /** `transmit` gets each command that is to go to the device that its `qsIp` names. */
    explicit RawOsdHost(const std::function<void(const model_OsdParam &)> &transmit)
    {
        // Duty 1: connect directly, and copy or use up the record during the emission: after
        // it the pointer dangles. These slots run on the loops' threads. Duty 4: send what is
        // announced to the device that it names.
        QObject::connect(
            &m_worker, &biz_Osd_CMDSWork::signalSendMessage, &m_worker,
            [transmit](void *record) { transmit(*static_cast<const model_OsdParam *>(record)); }, Qt::DirectConnection);
        QObject::connect(
            &m_worker, &biz_Osd_CMDSWork::signalSendReceiveMessage, &m_worker,
            [](void *record) {
                const auto &reply = *static_cast<const model_OsdParam *>(record);
                QTextStream(stdout) << reply.qsIp << " answered " << QString::fromLatin1(reply.baData) << '\n';
            },
            Qt::DirectConnection);

        // Duty 2: run the two loops on threads of your own. The send loop starts the time-out
        // loop by itself, on a detached thread.
        m_sendLoop = std::thread(&biz_Osd_CMDSWork::a1_GetQueueWork, &m_worker);
        m_receiveLoop = std::thread(&biz_Osd_CMDSWork::a1_receiveGetQueueWork, &m_worker);
    }

    ~RawOsdHost()
    {
        // Duty 6: stop, join, and keep the worker for the detached time-out thread, which may
        // have begun a sleep of half a second just before and makes one pass after it. The
        // same holds for the end of the process, which destroys the queues that it looks at.
        m_worker.m_bSendRun = false;
        m_worker.m_bRecvRun = false;
        m_sendLoop.join();
        m_receiveLoop.join();
        std::this_thread::sleep_for(750ms);
        // Time alone orders nothing: taking the lock once puts what follows after that pass.
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    }

    RawOsdHost(const RawOsdHost &) = delete;
    RawOsdHost &operator=(const RawOsdHost &) = delete;

private:
    biz_Osd_CMDSWork m_worker;
    std::thread m_sendLoop;
    std::thread m_receiveLoop;
};

/** Nothing waits and nothing is in flight. The channel does not tell: it is asked. */
bool isIdle()
{
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    for (const auto &queue : qAsConst(biz_Osd_CMDSWork::queueHexCmd)) {
        if (!queue.empty()) {
            return false;
        }
    }
    const auto &free = biz_Osd_CMDSWork::m_bRetFlag;
    return std::find(free.cbegin(), free.cend(), false) == free.cend();
}

/** Three devices, of which the last one is switched off. */
void device(const model_OsdParam &command)
{
    QTextStream(stdout) << "to " << command.qsIp << ": " << QString::fromLatin1(command.baData) << '\n';
    if (command.qsIp == QLatin1String("192.0.2.3")) {
        return;
    }
    // Duty 5: hand every reply over under the very text of the address that its command was
    // given. It frees the device, then queues the reply for the receive loop.
    model_OsdParam reply = command;
    reply.baData = "yes";
    biz_Osd_CMDSWork::addToReceiveQueue(reply);
}

} // namespace

int main()
{
    const RawOsdHost host(device);

    for (const char *address : {"192.0.2.1", "192.0.2.2", "192.0.2.3"}) {
        for (const char *text : {"one", "two"}) {
            // Duty 3: hand commands over. One spelling per device: another is another device.
            model_OsdParam command;
            command.qsIp = QLatin1String(address);
            command.baData = text;
            command.iWaitTime = 1000; // counts in whole seconds: 0 to 1.5 s
            biz_Osd_CMDSWork::addToSendQueue(command);
        }
    }

    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!isIdle() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    const bool done = isIdle();
    QTextStream(stdout) << (done ? "every device is free\n" : "devices are still waiting\n");
    return done ? 0 : 1;
}
