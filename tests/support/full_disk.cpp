#include <support/full_disk.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <stdexcept>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace biz::test {

namespace {

struct Disk
{
    std::mutex guard;
    std::size_t room = 0;
    int refusals = 0;
};

Disk disk;

// The fast question of every write; the numbers are looked at under the guard.
std::atomic<bool> isFull{false};

bool standsOnTheDisk(int descriptor)
{
    struct stat about
    {
    };
    return fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode);
}

/** How many of these bytes there is room for. */
std::size_t claimRoom(std::size_t size)
{
    const std::lock_guard<std::mutex> lock(disk.guard);
    const std::size_t granted = std::min(size, disk.room);
    disk.room -= granted;
    disk.refusals += granted < size ? 1 : 0;
    return granted;
}

} // namespace

FullDisk::FullDisk(std::size_t roomInBytes)
{
    const std::lock_guard<std::mutex> lock(disk.guard);
    if (isFull) {
        throw std::logic_error("the disk is already full");
    }
    disk.room = roomInBytes;
    disk.refusals = 0;
    isFull = true;
}

FullDisk::~FullDisk()
{
    isFull = false;
}

int FullDisk::refusals() const
{
    const std::lock_guard<std::mutex> lock(disk.guard);
    return disk.refusals;
}

} // namespace biz::test

namespace {

using WriteCall = ssize_t (*)(int, const void *, size_t);

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizers' own name
extern "C" [[gnu::weak]] ssize_t __interceptor_write(int, const void *, size_t);

#define BIZ_INTERPOSED extern "C" [[gnu::visibility("default")]]

BIZ_INTERPOSED ssize_t write(int descriptor, const void *bytes, size_t size)
{
    static const auto real =
        __interceptor_write != nullptr ? &__interceptor_write : reinterpret_cast<WriteCall>(dlsym(RTLD_NEXT, "write"));
    using namespace biz::test;
    if (size == 0 || !isFull || !standsOnTheDisk(descriptor)) {
        return real(descriptor, bytes, size);
    }
    const std::size_t granted = claimRoom(size);
    if (granted == 0) {
        errno = ENOSPC;
        return -1;
    }
    return real(descriptor, bytes, granted);
}
