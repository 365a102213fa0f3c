#ifndef BIZ_CONSOLE_ERROR_LOG_FILE_H
#define BIZ_CONSOLE_ERROR_LOG_FILE_H

#include <QtCore/QDate>
#include <QtCore/QString>

namespace biz::console {

/** The error log of a day below a folder, whether it exists or not. */
QString errorLogOf(const QString &folder, const QDate &day);

/** The same for today. */
QString errorLogOfToday(const QString &folder);

} // namespace biz::console

#endif
