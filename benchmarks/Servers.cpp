#include "Servers.h"

#include "ReplayLog.h"

#include <QCoreApplication>

namespace
{

std::unique_ptr<MeasuredServer> startToolserver(const MeasureSettings& settings, const QStringList& arguments,
                                                const MeasuredServer::File& file)
{
    return std::make_unique<MeasuredServer>(
        settings.toolserver, QStringList{"--quiet", "--bind", "127.0.0.1", "--port", "0"} + arguments, file);
}

} // namespace

std::unique_ptr<MeasuredServer> servers::startReplay(const MeasureSettings& settings, int numberOfTools)
{
    return startToolserver(settings, {"--repeat"},
                           {"--replay", QByteArray::fromStdString(replayLog::make(numberOfTools))});
}

std::unique_ptr<MeasuredServer> servers::startStampedCamera(const MeasureSettings& settings, int framesPerSecond)
{
    return startToolserver(settings, {"--module-dir", settings.moduleDirectory, "--module", "StampedCamera"},
                           {"--settings", "[StampedCamera]\nRate=" + QByteArray::number(framesPerSecond) + "\n"});
}

std::unique_ptr<MeasuredServer> servers::startBare(int numberOfTools, bareServer::Sends sends)
{
    const bool isOne = sends == bareServer::Sends::ONE;
    return std::make_unique<MeasuredServer>(
        QCoreApplication::applicationFilePath(),
        QStringList{"--bare-server", isOne ? "one" : "each", "--tools", QString::number(numberOfTools)});
}
