#ifndef BIZ_TESTKIT_WATCHDOG_P_H
#define BIZ_TESTKIT_WATCHDOG_P_H

namespace biz::testkit {

class Scheduler;

/** Starts a thread, in real time, that ends the test when a task neither waits nor ends for long. */
void startWatchdog(Scheduler &scheduler);

} // namespace biz::testkit

#endif
