#include <biz_cmdswork/biz_cmdswork.h>

// The one device command channel of the process.

std::queue<model_Protocoldata> biz_CMDSWork::queueHexCmd;
std::queue<model_Protocoldata> biz_CMDSWork::receivequeueHexCmd;
std::mutex biz_CMDSWork::HexCmdlock;
std::mutex biz_CMDSWork::receiveHexCmdlock;
QList<model_Protocoldata> biz_CMDSWork::ListCMDS;
int biz_CMDSWork::deviceType = -1;
int biz_CMDSWork::iSN = 1;
int biz_CMDSWork::iTimeout = 6000;
bool biz_CMDSWork::bRetFlag = true;
bool biz_CMDSWork::iTimeDisplayToUI = true;
int biz_CMDSWork::iTimeoutCount = 0;
int biz_CMDSWork::iWatchdogSleepCnt = 0;
int biz_CMDSWork::nSysPlan = 0;
