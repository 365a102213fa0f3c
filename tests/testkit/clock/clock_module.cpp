#include <testkit/test_clock.h>

// A library that is loaded late: the system's calls come before its own.

extern "C" [[gnu::visibility("default")]] void makeClock()
{
    const biz::testkit::TestClock clock;
}
