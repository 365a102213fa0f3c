#ifndef BIZ_HOST_EXPORT_H
#define BIZ_HOST_EXPORT_H

#include <QtCore/qglobal.h>

// Marks what the host kit offers; everything else in it stays hidden.
#if defined(BIZ_HOST_BUILD)
#define BIZ_HOST_EXPORT Q_DECL_EXPORT
#else
#define BIZ_HOST_EXPORT Q_DECL_IMPORT
#endif

#endif
