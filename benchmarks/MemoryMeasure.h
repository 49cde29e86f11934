#pragma once

#include "Measure.h"

/// How much memory an idle session takes: the growth of the server while many clients connect, ask one pose each and
/// then stay silent.
class MemoryMeasure : public Measure
{
public:
    QString name() const override;
    QString description(const MeasureSettings& settings) const override;
    bool isQuick() const override;
    /// Empty where resident memory cannot be told.
    std::vector<Figure> run(const MeasureSettings& settings) const override;
};
