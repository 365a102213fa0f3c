#ifndef BIZ_MANAGE_EXPORT_H
#define BIZ_MANAGE_EXPORT_H

#include <QtCore/qglobal.h>

// The Qt that an installed library was built with, told by its CMake target and its pkg-config file.
#if defined(BIZ_MANAGE_QT)
static_assert(BIZ_MANAGE_QT == QT_VERSION_MAJOR,
              "this program mixes Qt 5 and Qt 6: BIZ_Manage is for Qt 5, BIZ_Manage6 (BIZ_Manage-qt6) for Qt 6");
#endif

// Marks what the library offers; everything else in it stays hidden.
#if defined(BIZ_MANAGE_BUILD)
#define BIZ_MANAGE_EXPORT Q_DECL_EXPORT
#else
#define BIZ_MANAGE_EXPORT Q_DECL_IMPORT
#endif

#endif
