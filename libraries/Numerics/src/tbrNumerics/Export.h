#pragma once

#include <QtGlobal>

/// Marks what the shared library tbrNumerics offers to others.
#ifdef TBR_BUILDING_NUMERICS
#define TBR_NUMERICS_EXPORT Q_DECL_EXPORT
#else
#define TBR_NUMERICS_EXPORT Q_DECL_IMPORT
#endif
