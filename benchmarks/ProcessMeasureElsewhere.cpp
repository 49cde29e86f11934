#include "ProcessMeasure.h"

namespace processMeasure
{

std::optional<int> pinToOneProcessor()
{
    return {};
}

std::optional<double> processorSeconds(qint64)
{
    return {};
}

std::optional<double> residentBytes(qint64)
{
    return {};
}

std::optional<double> loadAverage()
{
    return {};
}

} // namespace processMeasure
