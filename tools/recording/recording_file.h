#ifndef BIZ_TOOLS_RECORDING_FILE_H
#define BIZ_TOOLS_RECORDING_FILE_H

#include <functional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::tools {

/** Called with each line of a recording, its file as messages show it, and the line's number from 1. */
using ReadRecordingLine = std::function<void(const QByteArray &json, const QString &name, int lineNumber)>;

/**
 * Reads a file, "-" for the standard input, line by line; returns the number of the last one. What `read` throws for a
 * last line without an end is passed over: the recording was cut off there. Throws InputError when it cannot be read,
 * or is empty.
 */
int readRecordingLines(const QString &path, const ReadRecordingLine &read);

} // namespace biz::tools

#endif
