#pragma once

#include <QtGlobal>

/// Marks what the shared library tbrNavigation offers to others.
#ifdef TBR_BUILDING_NAVIGATION
#define TBR_NAVIGATION_EXPORT Q_DECL_EXPORT
#else
#define TBR_NAVIGATION_EXPORT Q_DECL_IMPORT
#endif
