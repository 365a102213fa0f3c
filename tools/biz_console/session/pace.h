#ifndef BIZ_CONSOLE_PACE_H
#define BIZ_CONSOLE_PACE_H

namespace biz::console {

/** How fast commands are given. Times are milliseconds of any one clock. */
class Pace
{
public:
    /** 0: as fast as it goes. */
    explicit Pace(double perSecond);

    /** Whether another command may be given now; counts it if so. */
    bool take(double nowMs);

    /** How long until the next one may be given. */
    double waitMs(double nowMs) const;

private:
    double m_periodMs;
    double m_nextMs = 0.0;
};

} // namespace biz::console

#endif
