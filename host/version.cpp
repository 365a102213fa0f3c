#include <host/version.h>

namespace biz::host {

QString kitVersion()
{
    return QStringLiteral(BIZ_HOST_VERSION);
}

QString libraryVersion()
{
    return QStringLiteral(BIZ_MANAGE_VERSION);
}

} // namespace biz::host
