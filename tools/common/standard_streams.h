#ifndef BIZ_TOOLS_STANDARD_STREAMS_H
#define BIZ_TOOLS_STANDARD_STREAMS_H

namespace biz::tools {

/**
 * First of all in a program: a reader that goes away makes writing fail, as a full disk does. By default it kills the
 * writer, which then leaves its files as they are.
 */
void guardStandardStreams();

} // namespace biz::tools

#endif
