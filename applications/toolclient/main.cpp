#include "Commands.h"
#include "Options.h"

#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>
#include <tbrBase/ProcessPlatform.h>
#include <tbrCore/Log.h>
#include <tbrCore/Settings.h>

#include <QCoreApplication>

#include <iostream>
#include <mutex>

namespace
{

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_WRONG_USAGE = 2;

const char* const MODULE_PATH_KEY = "Tobrel/Navigation/CaToolList/ClientInterfaceModulePath";
const char* const MODULE_KEY = "Tobrel/Navigation/CaToolList/ClientInterfaceModule";

/// Keeps the last error that a library logged, for the one line that the user gets to see.
class LastError
{
public:
    LastError()
    {
        tbr::Log::setSink(
            [this](const std::string& category, const std::string& message)
            {
                const std::lock_guard<std::mutex> lock(m_Mutex);
                if (category == "ERROR")
                    m_Text = QString::fromStdString(message).trimmed();
            });
    }
    ~LastError() { tbr::Log::setSink({}); }
    LastError(const LastError&) = delete;
    LastError& operator=(const LastError&) = delete;

    QString text() const
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Text;
    }

private:
    mutable std::mutex m_Mutex; // guards m_Text
    QString m_Text;
};

int fail(const QString& reason)
{
    std::cerr << ("toolclient: " + reason + "\n").toStdString() << std::flush;
    return EXIT_FAILED;
}

/// Names the client-interface module, unless the user's settings do.
void chooseModule(const Options& options)
{
    tbr::Settings& settings = tbr::Settings::getInstance();
    if (options.isModuleDirectoryGiven || !settings.isKey(MODULE_PATH_KEY))
        settings.set(QString(MODULE_PATH_KEY), options.moduleDirectory);
    if (!settings.isKey(MODULE_KEY))
        settings.set(MODULE_KEY, "TSClient");
}

int runCommand(const Options& options, const LastError& lastError, std::ostream& out)
{
    chooseModule(options);
    CaToolList toolList;
    if (!toolList.getToolServer())
        return fail("the client-interface module cannot be loaded: " + lastError.text());

    int status = toolList.connect(options.host.toUtf8().constData(), options.port);
    if (status < 0)
        return fail(QString("no tool server answers at %1:%2 (%3); start one there with: toolserver --port %2")
                        .arg(options.host)
                        .arg(options.port)
                        .arg(CaToolServer::getMessage(status)));
    status = Commands(options, toolList, out).run();
    toolList.disconnect();
    if (status < 0)
        return fail(QString("%1: %2 (status %3, tool server at %4:%5)")
                        .arg((options.command + " " + options.tool).trimmed())
                        .arg(CaToolServer::getMessage(status))
                        .arg(status)
                        .arg(options.host)
                        .arg(options.port));
    if (!out && options.command != "watch") // which is often cut short by the program that reads it
        return fail("the results cannot be written to standard output");
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    tbr::platform::survivePeersThatClose();
    // Standard output is for results alone, so that programs can read them; what libraries print there is not shown.
    std::ostream out(std::cout.rdbuf());
    std::cout.rdbuf(nullptr);

    QCoreApplication application(argc, argv);
    const Options options = Options::parse(application.arguments(), QCoreApplication::applicationDirPath());
    if (options.action == Options::Action::FAIL)
    {
        std::cerr << options.text.toStdString() << std::flush;
        return EXIT_WRONG_USAGE;
    }
    if (options.action == Options::Action::SHOW_TEXT)
    {
        out << options.text.toStdString() << std::flush;
        return EXIT_DONE;
    }
    const LastError lastError; // from here on, the user gets one line at most
    if (!options.settingsFile.isEmpty() && !tbr::Settings::getInstance().load(options.settingsFile))
        return fail("the settings file \"" + options.settingsFile + "\" cannot be read or is no INI file");
    return runCommand(options, lastError, out);
}
