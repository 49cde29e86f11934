#pragma once

#include <QTemporaryDir>

#include <memory>
#include <optional>
#include <string>

/// A tracking log of 64 tools, as large as wanted: it begins with ten seconds of poses, and the rest is a hole, which
/// reads as blocks of zeros and takes no room on the disk where the system has such files.
class BigReplay
{
public:
    /// Empty when the disk has not that much room.
    static std::optional<BigReplay> make(qint64 bytes);

    /// Milliseconds from the construction of the replay until its tools are there with their first pose. Errors:
    /// std::runtime_error.
    double startMilliseconds() const;
    /// KiB by which the process's memory grows while a replay starts and plays `blocks` blocks; empty where the system
    /// does not tell.
    std::optional<double> memoryGrowthKiB(int blocks) const;

private:
    BigReplay() = default;

    std::shared_ptr<QTemporaryDir> m_Folder;
    std::string m_File;
};
