#include "ProcessMeasure.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace processMeasure
{

std::optional<int> pinToOneProcessor()
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return {};
    int last = CPU_SETSIZE - 1;
    while (last >= 0 && !CPU_ISSET(static_cast<std::size_t>(last), &allowed))
        --last;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(last), &one);
    if (last < 0 || sched_setaffinity(0, sizeof one, &one) != 0)
        return {};
    return last;
}

std::optional<double> processorSeconds(qint64 processId)
{
    clockid_t clock;
    timespec used;
    if (clock_getcpuclockid(static_cast<pid_t>(processId), &clock) != 0 || clock_gettime(clock, &used) != 0)
        return {};
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

std::optional<double> residentBytes(qint64 processId)
{
    std::ifstream file("/proc/" + std::to_string(processId) + "/statm");
    double allPages = 0.0;
    double residentPages = 0.0;
    if (!(file >> allPages >> residentPages))
        return {};
    return residentPages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

std::optional<double> loadAverage()
{
    double load = 0.0;
    if (getloadavg(&load, 1) != 1)
        return {};
    return load;
}

} // namespace processMeasure
