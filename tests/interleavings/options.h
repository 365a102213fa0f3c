#ifndef BIZ_INTERLEAVINGS_OPTIONS_H
#define BIZ_INTERLEAVINGS_OPTIONS_H

namespace biz::interleavings {

/** What the program was asked for. */
struct Options
{
    bool isDeep = false; ///< more preemptions, more random runs
};

inline Options &options()
{
    static Options asked;
    return asked;
}

} // namespace biz::interleavings

#endif
