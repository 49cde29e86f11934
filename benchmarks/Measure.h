#pragma once

#include <QString>

#include <memory>
#include <vector>

/// How all measures of a run are taken.
struct MeasureSettings
{
    QString toolserver;      ///< the program file
    QString moduleDirectory; ///< folder of the StampedCamera module
    double seconds = 0.5;    ///< that one measurement takes
    int pairs = 5;           ///< measurements of each server, in turn
    int sessions = 500;      ///< held open to measure memory
    bool isPinned = true;    ///< all on one processor
};

/// One figure of a measure: a value for each measurement, in the order taken. `bare` is empty when there is nothing to
/// compare with.
struct Figure
{
    QString name;
    QString unit;
    std::vector<double> toolserver;
    std::vector<double> bare;
};

/// What a measure found.
struct MeasureResult
{
    QString measure;
    QString description;
    std::vector<Figure> figures;
};

/// Something about the tool server that can be measured. A measure starts the servers that it needs and ends them.
class Measure
{
public:
    virtual ~Measure();

    /// By which the measure is chosen.
    virtual QString name() const = 0;
    /// One line; a measure may differ with the settings.
    virtual QString description(const MeasureSettings& settings) const = 0;
    /// Part of the set that is measured unless told otherwise.
    virtual bool isQuick() const = 0;
    /// Whether its figures are the same from run to run when nothing is pinned to a processor.
    virtual bool isSteadyUnpinned() const;
    /// Takes the figures. Errors: std::runtime_error.
    virtual std::vector<Figure> run(const MeasureSettings& settings) const = 0;
};

using Measures = std::vector<std::unique_ptr<Measure>>;
