#ifndef BIZ_INTERLEAVINGS_HOST_SITUATIONS_H
#define BIZ_INTERLEAVINGS_HOST_SITUATIONS_H

#include <vector>

#include <interleavings/situations/situation.h>

namespace biz::interleavings {

std::vector<Situation> deviceHostSituations();
std::vector<Situation> osdHostSituations();

} // namespace biz::interleavings

#endif
