#ifndef BIZ_KIT_SEEDS_JOURNAL_H
#define BIZ_KIT_SEEDS_JOURNAL_H

#include <cstdio>

#include <kit_seeds/model/clock.h>

namespace biz::kit_seeds {

/** Tells each step of a seed on the standard output stream, with the virtual time, when it is asked to. */
class Journal
{
public:
    void begin() { m_begin = now(); }

    template<typename... Values>
    void tell(const char *format, Values... values) const
    {
        if (m_begin != never) {
            std::printf("%10.3f ms  ", std::chrono::duration<double, std::milli>(now() - m_begin).count());
            std::printf(format, values...);
            std::printf("\n");
        }
    }

private:
    nanoseconds m_begin = never;
};

/** Each seed has a process of its own. */
inline Journal journal;

} // namespace biz::kit_seeds

#endif
