#pragma once

#include "Measure.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

/// What a run found, as a table for people and as JSON for programs.
class Report
{
public:
    /// The facts of this machine and moment. `processor` is the one everything is pinned to, if it is.
    Report(const MeasureSettings& settings, std::optional<int> processor);

    void add(const MeasureResult& result);

    /// The facts in one line each, to stand above the tables.
    QString heading() const;
    /// A measure's figures: medians, and the ratio to the bare server with its median, lowest and highest value of all
    /// pairs. Lengths of time are better the smaller they are, a rate the greater it is.
    static QString table(const MeasureResult& result);
    QByteArray json() const;

private:
    struct Fact
    {
        QString key;
        QVariant value;
        QString text; ///< as it stands in the heading
    };

    std::vector<Fact> m_Facts;
    std::vector<MeasureResult> m_Results;
};
