#ifndef BIZ_SIMULATOR_OPEN_FILES_H
#define BIZ_SIMULATOR_OPEN_FILES_H

#include <biz_simulator/devices/settings.h>

namespace biz::simulator {

/**
 * Lets this process open as many files as the system allows it, for each device has a socket or a terminal. Throws
 * CannotListen when these devices need more.
 */
void allowOpenFiles(const Settings &settings);

} // namespace biz::simulator

#endif
