#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

// The one OSD command channel of the process.

QVector<QString> biz_Osd_CMDSWork::m_qsIp;
QVector<std::queue<model_OsdParam>> biz_Osd_CMDSWork::queueHexCmd;
QMap<QString, bool> biz_Osd_CMDSWork::m_bRetFlag;
std::queue<model_OsdParam> biz_Osd_CMDSWork::receivequeueHexCmd;
std::mutex biz_Osd_CMDSWork::HexCmdlock;
std::mutex biz_Osd_CMDSWork::receiveHexCmdlock;
