#ifndef BIZ_HOST_PROCESS_END_P_H
#define BIZ_HOST_PROCESS_END_P_H

#include <functional>

/** What happens when the process ends while loops still run, as after std::exit() in a slot. */
namespace biz::host::process_end {

/**
 * Registers what ends the loops of a channel. It is called when the kit's static objects are
 * destroyed, which is before those of the library, since the kit needs the library.
 */
void addStep(std::function<void()> step);

/** Whether the steps have been taken: from then on no host touches the channels. */
bool hasBegun();

} // namespace biz::host::process_end

#endif
