#include "Options.h"

#include <TSLib/ToolServer.h>
#include <tbrBase/FilePlatform.h>
#include <tbrBase/ProcessPlatform.h>
#include <tbrBase/msleep.h>
#include <tbrCore/DLLFactory.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Settings.h>

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdlib>
#include <iostream>
#include <thread>

namespace
{

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_WRONG_USAGE = 2;

/// However busy the sessions and the camera module are, the program ends within two seconds of being told to.
constexpr int END_PATIENCE_MS = 1900;

void printLine(std::ostream& stream, const QString& line)
{
    stream << (line + "\n").toStdString() << std::flush;
}

int fail(const QString& reason)
{
    printLine(std::cerr, "toolserver: " + reason);
    return EXIT_FAILED;
}

/// Prints the camera modules of the folder, a line each; libraries of another kind are left out.
int listModules(const QString& directory)
{
    const std::string folder = directory.toStdString();
    const std::string extension = DLLManager::GetDLLExtension();
    if (!QFileInfo(directory).isDir())
        return fail("the module folder \"" + directory + "\" does not exist");
    tbr::Log::setVerbosity(tbr::Log::Verbosity::QUIET);
    for (const std::string& file : tbr::platform::listFiles(folder, extension))
        if (DLLFactory<ToollistFactory>((folder + "/" + file).c_str()).getFactory())
            std::cout << file.substr(0, file.size() - extension.size()) + "\n";
    std::cout << std::flush;
    return EXIT_DONE;
}

/// "listening on 0.0.0.0:2222, module SimulatedCamera, 7 tools"
QString listeningLine(const Options& options, const QString& address, int port, const Toollist& toollist)
{
    int tools = 0;
    for (unsigned int slot = 0; slot < toollist.getMaxNumberOfTools(); ++slot)
        tools += toollist.getTool(slot) ? 1 : 0;
    const QString source =
        options.replayFile.isEmpty() ? "module " + options.module : "replay of " + options.replayFile;
    return QString("listening on %1:%2, %3, %4 tools").arg(address).arg(port).arg(source).arg(tools);
}

void endInTime()
{
    std::thread(
        []
        {
            tbr::msleep(END_PATIENCE_MS);
            std::_Exit(EXIT_DONE); // whatever is recorded is in the file already
        })
        .detach();
}

int serve(QCoreApplication& application, const Options& options)
{
    const bool isReplay = !options.replayFile.isEmpty();
    ToolServer server(options.moduleDirectory.toStdString(), options.module.toStdString(),
                      (isReplay ? options.replayFile : options.logFile).toStdString(), isReplay, options.isRepeating);
    server.setPort(options.port);
    server.setBindAddress(options.bindAddress.toStdString());
    server.setAllowedClients(options.allowedClients);
    server.setMaximumClients(options.maximumClients);

    int status = EXIT_DONE;
    QObject::connect(&server, &ToolServer::startFailed,
                     [&](const QString& reason)
                     {
                         if (status == EXIT_DONE)
                             status = fail(reason);
                         server.terminateMainThread();
                     });
    QObject::connect(&server, &ToolServer::listening,
                     [&](const QString& address, int port)
                     {
                         if (status == EXIT_DONE)
                             printLine(std::cout, listeningLine(options, address, port, *server.getToollist()));
                     });
    QObject::connect(&server, &ToolServer::finished, &application, [&](int) { application.quit(); });
    tbr::platform::onTerminationRequest(
        [&]
        {
            endInTime();
            server.terminateMainThread();
            application.quit(); // in case that run() has not begun
        });
    application.exec();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    tbr::platform::survivePeersThatClose();
    QCoreApplication application(argc, argv);
    const Options options = Options::parse(application.arguments(), QCoreApplication::applicationDirPath());
    switch (options.action)
    {
    case Options::Action::FAIL:
        std::cerr << options.text.toStdString() << std::flush;
        return EXIT_WRONG_USAGE;
    case Options::Action::SHOW_TEXT:
        std::cout << options.text.toStdString() << std::flush;
        return EXIT_DONE;
    case Options::Action::LIST_MODULES:
        return listModules(options.moduleDirectory);
    case Options::Action::SERVE:
        break;
    }
    if (!options.settingsFile.isEmpty() && !tbr::Settings::getInstance().load(options.settingsFile))
        return fail("the settings file \"" + options.settingsFile + "\" cannot be read or is no INI file");
    tbr::Log::setVerbosity(options.verbosity);
    return serve(application, options);
}
