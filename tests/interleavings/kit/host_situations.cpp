#include <interleavings/kit/host_situations.h>

namespace biz::interleavings {

std::vector<Situation> smallSituations()
{
    std::vector<Situation> all = deviceHostSituations();
    const std::vector<Situation> osd = osdHostSituations();
    all.insert(all.end(), osd.begin(), osd.end());
    return all;
}

std::vector<LargeSituation> largeSituations()
{
    return {};
}

} // namespace biz::interleavings
