#ifndef BIZ_CONSOLE_TRACE_H
#define BIZ_CONSOLE_TRACE_H

namespace biz::console {

/**
 * Decides where debug messages of the library go: to the standard error stream with a
 * "trace:" before each, or nowhere. Warnings of any origin are always shown.
 */
void showDebugMessages(bool on);

} // namespace biz::console

#endif
