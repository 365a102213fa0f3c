// Prints the version of the library that it was started with.

#include <cstdio>

#include <host/version.h>

int main()
{
    std::puts(qPrintable(biz::host::libraryVersion()));
    return 0;
}
