#include <biz_cmdswork/biz_cmdswork.h>

#include <platform/unlocked_access_p.h>

// Deliberate: the run flags stay unset, they are the host's to set before it starts the
// loops.
biz_CMDSWork::biz_CMDSWork()
    : QObject(nullptr)
{
}

// Deliberate: no join. The threads are the host's.
biz_CMDSWork::~biz_CMDSWork()
{
    biz::unlocked::store(m_bSendRun, false);
    biz::unlocked::store(m_bRecvRun, false);
}

void biz_CMDSWork::setSkipSendcmd(bool skip)
{
    biz::unlocked::store(m_bSkipSendcmd, skip);
}
