#ifndef BIZ_TESTKIT_THREAD_DESCRIPTION_P_H
#define BIZ_TESTKIT_THREAD_DESCRIPTION_P_H

#include <string>

/** Threads and what they are in, for people. */
namespace biz::testkit {

/** A thread's name, as debuggers show it, in quotes; "that has not begun" for none. */
std::string nameOfThread(int thread);

/** "12 (socket:[345])" */
std::string describeDescriptor(int descriptor);

/** "is in the system's call of read() for 12 (socket:[345])", "runs". */
std::string describeActivity(int thread);

} // namespace biz::testkit

#endif
