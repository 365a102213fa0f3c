// Loaded before the system's library into a gateway that a test runs. Files in the folder $BIZ_FAULTS say what is wrong
// with the system at the moment: with "disk_full" no file takes a byte more, and "clock" has the seconds that the wall
// clock is ahead.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::string pathOf(const char *fault)
{
    const char *const folder = std::getenv("BIZ_FAULTS");
    return folder == nullptr ? std::string() : std::string(folder) + '/' + fault;
}

/** Pipes and sockets are none of a disk's business. */
bool isRefused(int descriptor)
{
    struct stat about = {};
    return fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode) && access(pathOf("disk_full").c_str(), F_OK) == 0;
}

time_t secondsAhead()
{
    long seconds = 0;
    if (std::FILE *const file = std::fopen(pathOf("clock").c_str(), "r")) {
        if (std::fscanf(file, "%ld", &seconds) != 1) {
            seconds = 0;
        }
        std::fclose(file);
    }
    return seconds;
}

template<typename Call>
Call real(const char *name)
{
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

template<typename... Arguments>
ssize_t writeUnlessRefused(const char *name, int descriptor, const void *bytes, size_t size, Arguments... more)
{
    if (isRefused(descriptor)) {
        errno = ENOSPC;
        return -1;
    }
    return real<ssize_t (*)(int, const void *, size_t, Arguments...)>(name)(descriptor, bytes, size, more...);
}

} // namespace

#define BIZ_INTERPOSED extern "C" [[gnu::visibility("default")]]

BIZ_INTERPOSED ssize_t write(int descriptor, const void *bytes, size_t size)
{
    return writeUnlessRefused("write", descriptor, bytes, size);
}

BIZ_INTERPOSED ssize_t pwrite(int descriptor, const void *bytes, size_t size, off_t at)
{
    return writeUnlessRefused("pwrite", descriptor, bytes, size, at);
}

BIZ_INTERPOSED ssize_t pwrite64(int descriptor, const void *bytes, size_t size, off64_t at)
{
    return writeUnlessRefused("pwrite64", descriptor, bytes, size, at);
}

BIZ_INTERPOSED int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    const int status = real<int (*)(clockid_t, timespec *)>("clock_gettime")(clock, now);
    if (clock == CLOCK_REALTIME) {
        now->tv_sec += secondsAhead();
    }
    return status;
}

BIZ_INTERPOSED int gettimeofday(timeval *now, void *zone) noexcept
{
    const int status = real<int (*)(timeval *, void *)>("gettimeofday")(now, zone);
    now->tv_sec += secondsAhead();
    return status;
}

BIZ_INTERPOSED time_t time(time_t *now) noexcept
{
    const time_t seconds = real<time_t (*)(time_t *)>("time")(nullptr) + secondsAhead();
    if (now != nullptr) {
        *now = seconds;
    }
    return seconds;
}
