#pragma once

#include "Measure.h"

/// All measures, in the order in which they are taken.
Measures allMeasures();
