#ifndef BIZ_BENCH_COUNTED_MEMORY_H
#define BIZ_BENCH_COUNTED_MEMORY_H

#include <cstddef>

/** Bytes in use on the heap, as the allocator counts them, its own overhead included. */
std::size_t heapInUse();

#endif
