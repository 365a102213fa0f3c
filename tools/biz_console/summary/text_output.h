#ifndef BIZ_CONSOLE_TEXT_OUTPUT_H
#define BIZ_CONSOLE_TEXT_OUTPUT_H

#include <QtCore/QTextStream>

namespace biz::console {

/** Whether a stream that has been flushed lost something: a full disk, or a reader that has gone. */
bool hasFailed(const QTextStream &out);

/** "1 command", "2 commands". */
QString counted(qint64 number, const char *one);

} // namespace biz::console

#endif
