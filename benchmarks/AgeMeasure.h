#pragma once

#include "Measure.h"

/// How old a pose is when a client has it, counted from the moment the camera took the frame. One client asks without a
/// pause. There is no bare server to compare with: the camera belongs to the measure.
class AgeMeasure : public Measure
{
public:
    AgeMeasure(int framesPerSecond, bool isQuick);

    QString name() const override;
    QString description(const MeasureSettings& settings) const override;
    bool isQuick() const override;
    std::vector<Figure> run(const MeasureSettings& settings) const override;

private:
    const int m_FramesPerSecond;
    const bool m_IsQuick;
};
