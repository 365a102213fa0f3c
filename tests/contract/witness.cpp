#include "witness.h"

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

Addresses addressesSeenByTheWitness()
{
    return BIZ_STATIC_MEMBER_ADDRESSES;
}
