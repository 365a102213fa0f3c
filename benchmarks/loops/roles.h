#ifndef BIZ_BENCH_ROLES_H
#define BIZ_BENCH_ROLES_H

#include <string>

/**
 * Starts the five loops in a role, on threads that run until the process ends:
 * "twin": bare sleeps of the same periods; "idle": the library's loops with nothing to do;
 * "busy": the library's send, receive and OSD send loops with one item waiting each pass;
 * "plain": the plainest loops that take an item, judge it by no rule and emit the signals.
 * "osd-idle-N": the OSD send loop with N known devices that have nothing to send.
 * False for a role that does not exist.
 */
bool startRole(const std::string &role);

#endif
