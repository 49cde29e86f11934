#pragma once

#include <tbrNumerics/Export.h>

#include <vector>

/// Running average of the last `length` samples; of all samples while there are fewer.
///
/// The mean is summed afresh from the window in double precision at every sample, so an extreme or invalid sample
/// leaves no trace once it has left the window. Use by one thread at a time.
class TBR_NUMERICS_EXPORT floatAvg
{
public:
    /// A length of 0 is taken as 1: every sample passes through.
    explicit floatAvg(unsigned length);

    /// Adds a sample and returns the current average.
    float addValue(float sample);

private:
    unsigned m_Length;
    unsigned m_Next; // where the next sample goes once the window is full
    std::vector<float> m_Window;
};
