#ifndef BIZ_LONG_RUN_MEMORY_USE_H
#define BIZ_LONG_RUN_MEMORY_USE_H

#include <fstream>

#include <malloc.h>
#include <unistd.h>

#include <QtCore/QtGlobal>

namespace biz::long_run {

/** What this process takes at one moment, in bytes. */
struct MemoryUse
{
    qint64 heap = 0;     ///< what it has asked for and not given back
    qint64 resident = 0; ///< what the system has given it, freed memory that it keeps included
};

inline MemoryUse memoryUse()
{
    const struct mallinfo2 heap = mallinfo2();
    qint64 pages = 0;
    qint64 residentPages = 0;
    std::ifstream("/proc/self/statm") >> pages >> residentPages;
    return {static_cast<qint64>(heap.uordblks + heap.hblkhd), residentPages * sysconf(_SC_PAGESIZE)};
}

} // namespace biz::long_run

#endif
