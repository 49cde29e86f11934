#pragma once

#include <QtGlobal>

/// Marks what the shared library tbrBase offers to others.
#ifdef TBR_BUILDING_BASE
#define TBR_BASE_EXPORT Q_DECL_EXPORT
#else
#define TBR_BASE_EXPORT Q_DECL_IMPORT
#endif
