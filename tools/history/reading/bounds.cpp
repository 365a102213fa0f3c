#include <history/reading/bounds.h>

#include <algorithm>

namespace biz::history {

namespace {

constexpr std::size_t keptLinkSpans = 1000;
constexpr std::size_t keptClears = 1000;

/** All at once, so that this costs little for each. */
template<typename Item, typename Forget>
void keepLast(std::vector<Item> &items, std::size_t kept, Forget forget)
{
    if (items.size() < 2 * kept) {
        return;
    }
    const auto firstKept = items.end() - static_cast<std::ptrdiff_t>(kept);
    std::for_each(items.begin(), firstKept, forget);
    items.erase(items.begin(), firstKept);
}

} // namespace

void forgetEarly(Device &device, const Bounds &bounds)
{
    keepLast(device.incidents, bounds.commands,
             [&device](const Incident &incident) { device.forgotten.count(incident); });
    keepLast(device.clears, keptClears, [](double) {});
    keepLast(device.link, keptLinkSpans, [](const LinkSpan &) {});
}

} // namespace biz::history
