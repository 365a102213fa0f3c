#ifndef BIZ_TESTS_MEMORY_USE_H
#define BIZ_TESTS_MEMORY_USE_H

#include <fstream>
#include <string>

#include <QtCore/QtGlobal>

/** The most memory that this process has had at once, in bytes. */
inline qint64 peakMemory()
{
    constexpr qint64 kibibyte = 1024;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        qint64 size = 0;
        if (word == "VmHWM:" && status >> size) {
            return size * kibibyte;
        }
    }
    return 0;
}

/** From now on the peak is that of what follows. */
inline void resetPeakMemory()
{
    std::ofstream("/proc/self/clear_refs") << '5';
}

#endif
