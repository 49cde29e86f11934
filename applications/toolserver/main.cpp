#include "Options.h"
#include "ServerThread.h"

#include <TSBase/ToollistFactory.h>
#include <tbrBase/FilePlatform.h>
#include <tbrBase/ProcessPlatform.h>
#include <tbrBase/msleep.h>
#include <tbrCore/DLLFactory.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Log.h>
#include <tbrCore/Settings.h>

#include <QCoreApplication>
#include <QFileInfo>

#include <atomic>
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

/// For those who look for the reason why something is not as they expect.
void logDetails(const Options& options)
{
    const auto shown = [](const QString& value) { return "\"" + value.toStdString() + "\""; };
    TBR_LOG("DEBUG") << "toolserver " TBR_VERSION ", process " << QCoreApplication::applicationPid() << ", module "
                     << shown(options.module) << " in " << shown(options.moduleDirectory) << std::endl;
    TBR_LOG("DEBUG") << "settings " << shown(options.settingsFile) << ", recording to " << shown(options.logFile)
                     << ", replay of " << shown(options.replayFile) << (options.isRepeating ? " repeatedly" : " once")
                     << std::endl;
    TBR_LOG("DEBUG") << "port " << options.port << " on " << options.bindAddress.toStdString() << ", at most "
                     << options.maximumClients << " clients (0: no limit)" << std::endl;
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
    std::atomic<int> status(EXIT_DONE);
    ServerThread server(options);
    QObject::connect(&server, &ServerThread::listening,
                     [](const QString& address, int port, const QString& source)
                     { printLine(std::cout, QString("listening on %1:%2, %3").arg(address).arg(port).arg(source)); });
    QObject::connect(&server, &ServerThread::failed, [&status](const QString& reason) { status = fail(reason); });
    QObject::connect(&server, &QThread::finished, &application, &QCoreApplication::quit);
    const bool canEnd = tbr::platform::onTerminationRequest(
        [&server]
        {
            endInTime();
            server.requestEnd();
        });
    if (!canEnd)
        return fail("the system has no means left to be told when to end");

    server.start();
    if (!server.isRunning() && !server.isFinished())
        return fail("the system has no thread left");
    application.exec();
    server.wait();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    tbr::platform::survivePeersThatClose();
    tbr::platform::surviveFileSizeLimits(); // a recording that may not grow must not end the tracking
    // Each session has a thread with an event loop of its own: the plain one takes far less memory than GLib's.
    qputenv("QT_NO_GLIB", "1");
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
    logDetails(options);
    return serve(application, options);
}
