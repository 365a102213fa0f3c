#ifndef BIZ_KIT_SEEDS_JOURNAL_H
#define BIZ_KIT_SEEDS_JOURNAL_H

#include <cstdarg>
#include <cstdio>

#include <kit_seeds/model/clock.h>

namespace biz::kit_seeds {

/** Tells each step of a seed on the standard output stream, with the virtual time, when it is asked to. */
class Journal
{
public:
    void begin() { m_begin = now(); }

    [[gnu::format(printf, 2, 3)]] void tell(const char *format, ...) const
    {
        if (m_begin != never) {
            std::printf("%10.3f ms  ", std::chrono::duration<double, std::milli>(now() - m_begin).count());
            va_list values;
            va_start(values, format);
            std::vprintf(format, values);
            va_end(values);
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
