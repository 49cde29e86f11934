#include <tbrBase/msleep.h>

#include <chrono>
#include <thread>

namespace tbr
{

void msleep(int ms)
{
    if (ms > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

} // namespace tbr
