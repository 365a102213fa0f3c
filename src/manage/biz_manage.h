#ifndef BIZ_MANAGE_H
#define BIZ_MANAGE_H

#include <manage/biz_manage_export.h>

/**
 * Names the library; it holds no state and does nothing.
 *
 * The work is done by biz_CMDSWork (one connected device) and by biz_Osd_CMDSWork
 * (many devices, keyed by IP address).
 */
class BIZ_MANAGE_EXPORT BIZ_Manage
{
public:
    BIZ_Manage();
};

#endif
