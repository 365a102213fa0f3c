#ifndef BIZ_REPORT_LANES_H
#define BIZ_REPORT_LANES_H

#include <vector>

#include <history/history.h>
#include <report/drawing/scale.h>
#include <report/drawing/style.h>

namespace biz::report {

/** A command, or several that are drawn as one, in a lane of its device. */
struct Bar
{
    Look look = Look::Answered;
    int lane = 0;
    double fromMs = 0.0; ///< given; of those that are drawn in flight only, sent
    double sentMs = 0.0;
    double toMs = 0.0;
    quint64 count = 1;
    const history::Command *command = nullptr; ///< the first of them
};

/** The commands of one device in a stretch of time, side by side where they overlap. */
struct Lanes
{
    int count = 1;
    std::vector<Bar> bars;
    bool showsWaiting = false; ///< bars begin when the command was given, else when it was sent
    quint64 commands = 0;
    bool isThinned = false; ///< a bar may stand for several commands
};

struct LaneLimits
{
    int lanes = 1;
    int bars = 400; ///< of one lane and look
};

Lanes lanesOf(const history::Device &device, const Stretch &stretch, const LaneLimits &limits);

} // namespace biz::report

#endif
