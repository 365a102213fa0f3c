#include <steps/counted_memory.h>

#include <malloc.h>

std::size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}
