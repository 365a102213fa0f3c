#ifndef BIZ_CONSOLE_HISTORY_FILES_H
#define BIZ_CONSOLE_HISTORY_FILES_H

#include <QtCore/QStringList>

#include <history/history.h>

namespace biz::console {

/**
 * Reads event logs, recordings and error logs, each told by its first line, in the order of their times
 * whatever the order of the names. Throws InputError for a file that is none of them, or
 * is the only one and empty.
 */
history::History readHistory(const QStringList &paths);

/** Takes out the names of files that one before them names, too: they would count twice. Returns them. */
QStringList takeRepeatedFiles(QStringList *paths);

} // namespace biz::console

#endif
