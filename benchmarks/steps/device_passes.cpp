// Passes of the device channel's loops with one item each, without the sleeps between them:
// what the passes cost while everything that they touch is in the cache. Prints one JSON
// object a line.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include <QtCore/QDebug>

#include <biz_cmdswork/biz_cmdswork.h>
#include <steps/pass_by_pass.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int passes = 20000;

model_Protocoldata goodReply()
{
    model_Protocoldata record;
    record.ucHead[1] = 0xF1;
    record.ucHead[2] = 0x08;
    record.ucHead[4] = 0x62;
    record.ucHead[5] = 0x01;
    record.baData = QByteArray(354, 'x');
    record.iWaitTime = 1000;
    return record;
}

/** The median time of a pass that finds one item in `queue`. */
template<typename Loop>
void measure(const char *name, std::queue<model_Protocoldata> &queue, bool &run, Loop loop)
{
    std::vector<long long> took;
    Clock::time_point start;
    run = true;
    PassByPass::run(
        loop, [&run] { run = false; },
        [&](int pass) {
            if (pass > 0) {
                took.push_back(std::chrono::nanoseconds(Clock::now() - start).count());
            }
            queue.push(goodReply());
            start = Clock::now();
            return pass < passes;
        });
    std::nth_element(took.begin(), took.begin() + passes / 2, took.end());
    std::printf("{\"name\": \"%s\", \"pass_ns\": %lld}\n", name, took[passes / 2]);
}

} // namespace

int main()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    biz_CMDSWork worker;
    biz_CMDSWork::nSysPlan = 1;
    biz_CMDSWork::deviceType = 0x1400;
    measure("send", biz_CMDSWork::queueHexCmd, worker.m_bSendRun, [&worker] { worker.a1_GetQueueWork(); });
    measure("receive", biz_CMDSWork::receivequeueHexCmd, worker.m_bRecvRun,
            [&worker] { worker.a1_receiveGetQueueWork(); });
    return 0;
}
