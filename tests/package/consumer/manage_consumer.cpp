#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <manage/biz_manage.h>

int main()
{
    biz_CMDSWork worker;
    biz_Osd_CMDSWork osdWorker;
    return biz_CMDSWork::ListCMDS.isEmpty() ? 0 : 1;
}
