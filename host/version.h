#ifndef BIZ_HOST_VERSION_H
#define BIZ_HOST_VERSION_H

#include <QtCore/QString>

#include <host/biz_host_export.h>

namespace biz::host {

/** The version of this kit: "1.0.0". */
BIZ_HOST_EXPORT QString kitVersion();

/** The version of the library that this kit was built with. */
BIZ_HOST_EXPORT QString libraryVersion();

} // namespace biz::host

#endif
