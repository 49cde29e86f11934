#include "Target.h"

#include <tbrCore/Log.h>

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <thread>

namespace fuzz
{

void require(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: this does not hold: %s\n", promise);
    std::abort();
}

namespace
{

/// Grows and shrinks with the number of this process's threads: each has a folder.
std::uintmax_t countThreads()
{
    return std::filesystem::hard_link_count("/proc/self/task");
}

} // namespace

ThreadsEnd::ThreadsEnd() : m_Count(countThreads()) {}

ThreadsEnd::~ThreadsEnd()
{
    while (countThreads() > m_Count)
        std::this_thread::yield();
}

} // namespace fuzz

/// Called once by libFuzzer. What is printed and logged takes far longer than the work that is looked at, so it stops
/// short of the device; it is put together all the same.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_NO_GLIB", "1");                        // GLib keeps memory for later, which then looks like a leak
    static QCoreApplication application(*argc, *argv); // what lives in a thread of Qt needs one
    std::cout.rdbuf(nullptr);
    tbr::Log::setSink([](const std::string&, const std::string&) {});
    return 0;
}
