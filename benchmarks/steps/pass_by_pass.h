#ifndef BIZ_BENCH_PASS_BY_PASS_H
#define BIZ_BENCH_PASS_BY_PASS_H

#include <functional>

/**
 * Runs a loop of the library without its sleeps: this program brings its own nanosleep,
 * which calls back between two passes of the loop and lets no other thread wake up again. So the library's passes and
 * the steps they are compared with take turns on one thread.
 */
class PassByPass
{
public:
    /** Called on the loop's thread before each pass; false ends the loop after that pass. */
    using BeforePass = std::function<bool(int pass)>;

    /** `loop` runs on the calling thread; `stop` makes it end. */
    static void run(const std::function<void()> &loop, const std::function<void()> &stop, BeforePass beforePass);
};

#endif
