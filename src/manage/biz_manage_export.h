#ifndef BIZ_MANAGE_EXPORT_H
#define BIZ_MANAGE_EXPORT_H

#include <QtCore/qglobal.h>

// Marks what the library offers; everything else in it stays hidden.
#if defined(BIZ_MANAGE_BUILD)
#define BIZ_MANAGE_EXPORT Q_DECL_EXPORT
#else
#define BIZ_MANAGE_EXPORT Q_DECL_IMPORT
#endif

#endif
