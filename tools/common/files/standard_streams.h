#ifndef BIZ_TOOLS_STANDARD_STREAMS_H
#define BIZ_TOOLS_STANDARD_STREAMS_H

namespace biz::tools {

/**
 * First of all in a program. A reader that goes away makes writing fail, as a full disk does; by default it kills the
 * writer, which then leaves its files as they are. Where the caller has closed a standard stream, reading and writing
 * fail; otherwise the next file that is opened takes its place, and gets what was meant for people.
 */
void guardStandardStreams();

} // namespace biz::tools

#endif
