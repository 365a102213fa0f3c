#include "process_use.h"

#include <malloc.h>
#include <unistd.h>

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace biz::test {

int openDescriptors()
{
    return static_cast<int>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

int residentKibibytes()
{
    constexpr long bytesPerKibibyte = 1024;
    malloc_trim(0);
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QList<QByteArray> pages = file.readAll().split(' ');
    return static_cast<int>(pages.value(1).toLong() * sysconf(_SC_PAGESIZE) / bytesPerKibibyte);
}

} // namespace biz::test
