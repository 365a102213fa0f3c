#ifndef BIZ_INTERLEAVINGS_SMALL_SITUATIONS_H
#define BIZ_INTERLEAVINGS_SMALL_SITUATIONS_H

#include <vector>

#include <interleavings/situations/situation.h>

namespace biz::interleavings {

std::vector<Situation> deviceSituations();
std::vector<Situation> osdSituations();

} // namespace biz::interleavings

#endif
