#pragma once

#include <tbrBase/Export.h>

namespace tbr
{

/// Lets the calling thread sleep for `ms` milliseconds; returns at once for zero and negative values.
TBR_BASE_EXPORT void msleep(int ms);

} // namespace tbr
