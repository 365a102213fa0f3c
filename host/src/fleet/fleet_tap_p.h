#ifndef BIZ_HOST_FLEET_TAP_P_H
#define BIZ_HOST_FLEET_TAP_P_H

#include <algorithm>
#include <vector>

#include <host/event.h>

namespace biz::host {

/** Hears of what happens in a fleet when it happens. It calls nothing of the fleet. */
class FleetTap
{
public:
    FleetTap() = default;
    virtual ~FleetTap() = default;
    FleetTap(const FleetTap &) = delete;
    FleetTap &operator=(const FleetTap &) = delete;

    virtual void onEvent(const Event &event) = 0;
};

/** The taps of one fleet. */
class FleetTaps
{
public:
    bool isEmpty() const { return m_taps.empty(); }
    void add(FleetTap *tap) { m_taps.push_back(tap); }
    void remove(FleetTap *tap) { m_taps.erase(std::remove(m_taps.begin(), m_taps.end(), tap), m_taps.end()); }

    void tell(const Event &event) const
    {
        for (FleetTap *const tap : m_taps) {
            tap->onEvent(event);
        }
    }

private:
    std::vector<FleetTap *> m_taps;
};

} // namespace biz::host

#endif
