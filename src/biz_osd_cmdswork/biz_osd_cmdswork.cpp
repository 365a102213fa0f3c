#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <platform/unlocked_access_p.h>

biz_Osd_CMDSWork::biz_Osd_CMDSWork(QObject *parent)
    : QObject(parent)
{
}

// Deliberate: no join. The threads are the host's, and the time-out thread is detached.
biz_Osd_CMDSWork::~biz_Osd_CMDSWork()
{
    biz::unlocked::store(m_bSendRun, false);
    biz::unlocked::store(m_bRecvRun, false);
}
