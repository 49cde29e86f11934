#include "BigReplay.h"

#include "ProcessMeasure.h"
#include "ReplayLog.h"

#include <TSBase/ReplayTL.h>

#include <QCoreApplication>
#include <QFile>
#include <QStorageInfo>

#include <chrono>
#include <stdexcept>

namespace
{

constexpr int TOOLS = 64;

/// A replay that has started.
std::unique_ptr<ReplayTL> started(const std::string& file)
{
    auto replay = std::make_unique<ReplayTL>(file, true);
    Matrix3x3 rotation;
    Vector3d translation;
    const bool isPlaying = replay->startReplay();
    const Tool* last = replay->getTool(replayLog::toolName(TOOLS - 1));
    if (!isPlaying || !last || last->getTransform(rotation, translation) != 1)
        throw std::runtime_error("the log \"" + file + "\" cannot be replayed");
    return replay;
}

} // namespace

std::optional<BigReplay> BigReplay::make(qint64 bytes)
{
    BigReplay log;
    log.m_Folder = std::make_shared<QTemporaryDir>();
    const QString path = log.m_Folder->filePath("big.tslog");
    log.m_File = path.toStdString();
    const std::string begin = replayLog::make(TOOLS);
    QFile file(path);
    const bool isMade = QStorageInfo(log.m_Folder->path()).bytesAvailable() > bytes + (qint64(1) << 30) &&
                        file.open(QIODevice::WriteOnly) &&
                        file.write(begin.data(), static_cast<qint64>(begin.size())) >= 0 && file.resize(bytes);
    return isMade ? std::optional<BigReplay>(log) : std::nullopt;
}

double BigReplay::startMilliseconds() const
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    const auto replay = started(m_File);
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

std::optional<double> BigReplay::memoryGrowthKiB(int blocks) const
{
    const auto resident = [] { return processMeasure::residentBytes(QCoreApplication::applicationPid()); };
    const std::optional<double> before = resident();
    const auto replay = started(m_File);
    for (int block = 0; block < blocks; ++block)
        QMetaObject::invokeMethod(replay.get(), "doReplay", Qt::DirectConnection);
    const std::optional<double> after = resident();
    return before && after ? std::optional<double>((*after - *before) / 1024.0) : std::nullopt;
}
