#ifndef BIZ_TEST_FULL_DISK_H
#define BIZ_TEST_FULL_DISK_H

#include <cstddef>

namespace biz::test {

/**
 * While it exists, the disk takes so many bytes more and then answers ENOSPC: files open, and
 * writing to them fails. A program that uses it brings its own write, which the libraries that
 * it loads then call; pipes, sockets and terminals are none of a disk's business.
 */
class FullDisk
{
public:
    explicit FullDisk(std::size_t roomInBytes = 0);
    ~FullDisk();
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

    /** How many writes have been refused, or cut short. */
    int refusals() const;
};

} // namespace biz::test

#endif
