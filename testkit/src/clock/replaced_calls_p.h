#ifndef BIZ_TESTKIT_REPLACED_CALLS_P_H
#define BIZ_TESTKIT_REPLACED_CALLS_P_H

namespace biz::testkit {

/**
 * The name of a call of the system that does not reach its replacement in this program; null when all do. Whoever
 * calls this takes the replacements into the program: a linker takes no member of an archive for the sake of
 * symbols that only shared libraries ask for.
 */
const char *callThatIsNotReplaced();

} // namespace biz::testkit

#endif
