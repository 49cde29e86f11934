#include "Measure.h"

Measure::~Measure() = default;

bool Measure::isSteadyUnpinned() const
{
    return true;
}
