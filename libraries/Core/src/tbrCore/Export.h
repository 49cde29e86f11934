#pragma once

#include <QtGlobal>

/// Marks what the shared library tbrCore offers to others.
#ifdef TBR_BUILDING_CORE
#define TBR_CORE_EXPORT Q_DECL_EXPORT
#else
#define TBR_CORE_EXPORT Q_DECL_IMPORT
#endif
