#ifndef BIZ_TESTS_HOST_MEMORY_LIMIT_H
#define BIZ_TESTS_HOST_MEMORY_LIMIT_H

#include <cstddef>

namespace biz::test {

/**
 * While it exists, no piece of memory of this size or more can be had, by nobody in the process; smaller ones can. A
 * program that uses it brings its own malloc, which the libraries that it loads then call.
 */
class MemoryLimit
{
public:
    explicit MemoryLimit(std::size_t bytes);
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;

    /** How often memory was refused. */
    int refusals() const;
};

} // namespace biz::test

#endif
