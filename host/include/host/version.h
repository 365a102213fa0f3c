#ifndef BIZ_HOST_VERSION_H
#define BIZ_HOST_VERSION_H

#include <QtCore/QString>

#include <host/host_export.h>

namespace biz::host {

/** The version of this kit: "1.0.0". */
BIZ_HOST_EXPORT QString kitVersion();

/**
 * The version of the library that this process runs with. The library has no function that
 * tells it; it stands in the name of the file that was loaded, as in libBIZ_Manage.so.1.0.0.
 * Where a file of another name was loaded, it is the version that this kit was built with.
 */
BIZ_HOST_EXPORT QString libraryVersion();

/** The version of the library that this kit was built with. */
BIZ_HOST_EXPORT QString libraryVersionAtBuild();

} // namespace biz::host

#endif
