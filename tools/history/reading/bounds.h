#ifndef BIZ_HISTORY_BOUNDS_H
#define BIZ_HISTORY_BOUNDS_H

#include <cstddef>
#include <limits>

#include <history/history.h>

namespace biz::history {

/** How much a history holds that goes on for ever; one of files that have an end holds all. */
struct Bounds
{
    static constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t mostRuns = 100;
    static constexpr std::size_t mostDevices = 2000;

    std::size_t commands = all; ///< of each device, and never more than twice as many

    bool areSet() const { return commands != all; }
};

/** Of the device's incidents, clears and states of its link the half that is older, once there are too many. */
void forgetEarly(Device &device, const Bounds &bounds);

} // namespace biz::history

#endif
