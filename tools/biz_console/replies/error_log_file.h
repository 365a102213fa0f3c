#ifndef BIZ_CONSOLE_ERROR_LOG_FILE_H
#define BIZ_CONSOLE_ERROR_LOG_FILE_H

#include <QtCore/QString>

namespace biz::console {

/** The error log of today below a folder, whether it exists or not. */
QString errorLogOfToday(const QString &folder);

} // namespace biz::console

#endif
