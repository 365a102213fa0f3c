#include <cstdio>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <manage/biz_manage.h>

namespace {

int failures = 0;

void expect(bool holds, const char *claim)
{
    if (!holds) {
        ++failures;
        std::fprintf(stderr, "not so: %s\n", claim);
    }
}

/** Sends one command: the send loop runs on this thread until its first announcement. */
void sendOneCommand()
{
    biz_CMDSWork worker;
    worker.m_bSendRun = true;
    model_Protocoldata announced;
    QObject::connect(&worker, &biz_CMDSWork::signalSendMessage, [&](void *record) {
        announced = *static_cast<model_Protocoldata *>(record);
        worker.m_bSendRun = false;
    });

    model_Protocoldata command;
    command.ucHead[1] = 0xF1;
    command.baData = "payload";
    biz_CMDSWork::queueHexCmd.push(command);
    worker.a1_GetQueueWork();

    expect(announced.ucHead[0] == 1, "the first command carries sequence byte 1");
    expect(announced.ucHead[1] == 0xF1 && announced.baData == "payload", "the command is announced as it was pushed");
    expect(!biz_CMDSWork::bRetFlag, "the gate is closed while a command is in flight");
}

void judgeOneReply()
{
    biz_CMDSWork worker;
    model_Protocoldata reply;
    reply.ucHead[1] = 0x76;
    reply.ucHead[3] = 0x21;
    expect(worker.checkRecvData(reply), "a reply is accepted while no device type is set");
    biz_CMDSWork::deviceType = 0x1400;
    expect(!worker.checkRecvData(reply), "the model's rules judge a reply");
}

void queueOneOsdCommand()
{
    biz_Osd_CMDSWork worker;
    model_OsdParam command;
    command.qsIp = QStringLiteral("127.0.0.1");
    biz_Osd_CMDSWork::addToSendQueue(command);
    expect(biz_Osd_CMDSWork::m_qsIp.size() == 1, "a new device gets a slot");
    worker.clearQueue();
    expect(biz_Osd_CMDSWork::m_qsIp.isEmpty(), "a clear forgets the device");
}

} // namespace

int main()
{
    BIZ_Manage name;
    static_cast<void>(name);
    sendOneCommand();
    judgeOneReply();
    queueOneOsdCommand();
    return failures == 0 ? 0 : 1;
}
