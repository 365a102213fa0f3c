#include "memory_limit.h"

#include <atomic>
#include <cerrno>
#include <limits>

namespace biz::test {

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

std::atomic<std::size_t> refusedFrom{none};
std::atomic<int> refused{0};

bool isRefused(std::size_t bytes)
{
    if (bytes < refusedFrom) {
        return false;
    }
    ++refused;
    errno = ENOMEM;
    return true;
}

} // namespace

MemoryLimit::MemoryLimit(std::size_t bytes)
{
    refused = 0;
    refusedFrom = bytes;
}

MemoryLimit::~MemoryLimit()
{
    refusedFrom = none;
}

int MemoryLimit::refusals() const
{
    return refused;
}

} // namespace biz::test

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
extern "C" void *__libc_malloc(std::size_t bytes);
extern "C" void *__libc_realloc(void *memory, std::size_t bytes);
// NOLINTEND(bugprone-reserved-identifier)

extern "C" [[gnu::visibility("default")]] void *malloc(std::size_t bytes)
{
    return biz::test::isRefused(bytes) ? nullptr : __libc_malloc(bytes);
}

extern "C" [[gnu::visibility("default")]] void *realloc(void *memory, std::size_t bytes)
{
    return biz::test::isRefused(bytes) ? nullptr : __libc_realloc(memory, bytes);
}
