#ifndef BIZ_TOOLS_STANDARD_STREAMS_H
#define BIZ_TOOLS_STANDARD_STREAMS_H

#include <QtCore/QString>

namespace biz::tools {

/**
 * First of all in a program. A reader that goes away makes writing fail, as a full disk does; by default it kills the
 * writer, which then leaves its files as they are. Where the caller has closed a standard stream, reading and writing
 * fail; otherwise the next file that is opened takes its place, and gets what was meant for people.
 */
void guardStandardStreams();

/** Prints the only text that a program was asked for, such as its help; false when not all of it could be written. */
[[nodiscard]] bool printText(const QString &text);

/** What to say then: a full disk has no room, or the reader has gone. */
QString outputFailedText();

} // namespace biz::tools

#endif
