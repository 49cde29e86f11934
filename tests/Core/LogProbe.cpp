#include <tbrCore/Log.h>

#include <iostream>
#include <map>
#include <stdexcept>
#include <thread>
#include <vector>

/// Logs through the default output in one of several ways, for tests that read the standard error of another process.
namespace
{

void logFromManyThreads()
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back(
            [t]
            {
                for (int i = 0; i < 100; ++i)
                    TBR_LOG("INFO") << "thread " << t << " entry " << i << " one" << std::endl
                                    << "thread " << t << " entry " << i << " two" << std::endl;
            });
    for (std::thread& thread : threads)
        thread.join();
}

void logEachCategory()
{
    for (const char* category : {"ERROR", "INFO", "toolserver", "DEBUG"})
        TBR_LOG(category) << "x" << std::endl;
}

void logQuietly()
{
    tbr::Log::setVerbosity(tbr::Log::Verbosity::QUIET);
    logEachCategory();
}

void logVerbosely()
{
    tbr::Log::setVerbosity(tbr::Log::Verbosity::VERBOSE);
    logEachCategory();
    tbr::Log::setVerbosity(tbr::Log::Verbosity::NORMAL);
    TBR_LOG("DEBUG") << "not shown any more" << std::endl;
}

void logOddText()
{
    TBR_LOG("INFO") << "\n\nTS 3.0 - SHUTDOWN ...\n\n";
    TBR_LOG("INFO") << "\t  {0} %s %v\tx" << std::endl;
    TBR_LOG("INFO") << std::string("a\0b\x1b[31m\r\x7f", 10) << "Bohrf\xc3\xbchrung";
    TBR_LOG("INFO") << "";
    tbr::Log::getInstance(nullptr, nullptr, 1).printPrefix() << "nameless" << std::endl;
    tbr::Log::getInstance("INFO", "C:\\source\\Windows.cpp", 2).printPrefix() << "far away" << std::endl;
}

void logWithASinkThatIsTakenAway()
{
    tbr::Log::setSink([](const std::string&, const std::string&) {});
    TBR_LOG("INFO") << "swallowed" << std::endl;
    tbr::Log::setSink({});
    TBR_LOG("INFO") << "shown" << std::endl;
}

void logWithASinkThatThrows()
{
    tbr::Log::setSink([](const std::string&, const std::string&) { throw std::runtime_error("disk full"); });
    TBR_LOG("INFO") << "first" << std::endl;
    tbr::Log::setSink([](const std::string&, const std::string&) { throw 1; });
    TBR_LOG("INFO") << "second" << std::endl;
    tbr::Log::setSink({});
    TBR_LOG("INFO") << "third" << std::endl;
}

void logWithASinkThatLogs()
{
    tbr::Log::setSink(
        [](const std::string&, const std::string& message)
        {
            std::cout << message;
            TBR_LOG("INFO") << "from the sink: " << message;
        });
    TBR_LOG("INFO") << "first\n";
    TBR_LOG("INFO") << "second\n";
}

} // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, void (*)()> ways = {{"threads", logFromManyThreads},
                                                    {"normal", logEachCategory},
                                                    {"quiet", logQuietly},
                                                    {"verbose", logVerbosely},
                                                    {"odd", logOddText},
                                                    {"restored", logWithASinkThatIsTakenAway},
                                                    {"throwing", logWithASinkThatThrows},
                                                    {"nested", logWithASinkThatLogs}};
    const auto way = ways.find(argc > 1 ? argv[1] : "");
    if (way == ways.end())
        return 2;
    way->second();
    return 0;
}
