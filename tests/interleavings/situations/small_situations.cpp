#include <interleavings/situations/small_situations.h>

namespace biz::interleavings {

std::vector<Situation> smallSituations()
{
    std::vector<Situation> all = deviceSituations();
    const std::vector<Situation> osd = osdSituations();
    all.insert(all.end(), osd.begin(), osd.end());
    return all;
}

} // namespace biz::interleavings
