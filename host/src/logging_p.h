#ifndef BIZ_HOST_LOGGING_P_H
#define BIZ_HOST_LOGGING_P_H

#include <QtCore/QLoggingCategory>

namespace biz::host {

/** What an operator must know, in the category "biz.host". */
Q_DECLARE_LOGGING_CATEGORY(hostLog)

} // namespace biz::host

#endif
