#ifndef BIZ_TOOLS_OUTPUT_FILE_H
#define BIZ_TOOLS_OUTPUT_FILE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::tools {

/**
 * Writes a file as a whole: whoever reads it meanwhile sees the old content or the new one. What is there and is no
 * plain file, such as a device or a pipe, is written to and stays what it is. Returns why it could not be written, or
 * nothing.
 */
QString writeOutputFile(const QString &path, const QByteArray &content);

} // namespace biz::tools

#endif
