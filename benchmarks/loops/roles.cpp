#include <loops/roles.h>

#include <ctime>
#include <functional>
#include <thread>

#include <QtCore/QDebug>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <loops/counted_sleep.h>

namespace {

/** More than any measurement takes: 100 commands and 200 replies a second for ten minutes. */
constexpr int commandsInStock = 60000;
constexpr int repliesInStock = 120000;
constexpr int osdCommandsInStock = 200000;

const QString onlyDevice = QStringLiteral("127.0.0.1");

void startLoop(const std::string &name, std::function<void()> loop)
{
    std::thread([name, loop = std::move(loop)] {
        counted::nameThisLoop(name);
        loop();
    }).detach();
}

void startTwinLoop(const std::string &name, long periodNs)
{
    startLoop(name, [periodNs] {
        const timespec period{0, periodNs};
        for (;;) {
            nanosleep(&period, nullptr);
        }
    });
}

void startTwin()
{
    constexpr long millisecond = 1000000;
    startTwinLoop("send", 10 * millisecond);
    startTwinLoop("receive", 5 * millisecond);
    startTwinLoop("osd send", 3 * millisecond);
    startTwinLoop("osd receive", 5 * millisecond);
    startTwinLoop("osd timeout", 500 * millisecond);
}

// Never destroyed: their loops run until the process ends.
biz_CMDSWork &deviceWorker()
{
    static auto *worker = new biz_CMDSWork;
    return *worker;
}

biz_Osd_CMDSWork &osdWorker()
{
    static auto *worker = new biz_Osd_CMDSWork;
    return *worker;
}

void startLibrary()
{
    biz_CMDSWork &device = deviceWorker();
    device.m_bSendRun = true;
    device.m_bRecvRun = true;
    startLoop("send", [&device] { device.a1_GetQueueWork(); });
    startLoop("receive", [&device] { device.a1_receiveGetQueueWork(); });
    biz_Osd_CMDSWork &osd = osdWorker();
    startLoop("osd send", [&osd] { osd.a1_GetQueueWork(); });
    startLoop("osd receive", [&osd] { osd.a1_receiveGetQueueWork(); });
}

/** One item a pass: back to back commands, good replies, and a device that is always free. */
void stockUp()
{
    biz_CMDSWork::nSysPlan = 1;
    biz_CMDSWork::deviceType = 0x1400;
    model_Protocoldata command;
    command.ucHead[1] = 0xF1;
    command.ucHead[2] = 0x08;
    command.ucHead[4] = 0x62;
    command.ucHead[5] = 0x01;
    command.baData = QByteArray(354, 'x');
    command.iWaitTime = 1000;
    for (int i = 0; i < commandsInStock; ++i) {
        biz_CMDSWork::queueHexCmd.push(command);
    }
    for (int i = 0; i < repliesInStock; ++i) {
        biz_CMDSWork::receivequeueHexCmd.push(command);
    }
    model_OsdParam osd;
    osd.qsIp = onlyDevice;
    osd.iWaitTime = 1000;
    for (int i = 0; i < osdCommandsInStock; ++i) {
        biz_Osd_CMDSWork::addToSendQueue(osd);
    }
    QObject::connect(
        &osdWorker(), &biz_Osd_CMDSWork::signalSendMessage, &osdWorker(),
        [] {
            const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
            biz_Osd_CMDSWork::m_bRetFlag[onlyDevice] = true;
        },
        Qt::DirectConnection);
}

} // namespace

bool startRole(const std::string &role)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    if (role == "twin") {
        startTwin();
    } else if (role == "idle") {
        startLibrary();
    } else if (role == "busy") {
        stockUp();
        startLibrary();
    } else {
        return false;
    }
    return true;
}
