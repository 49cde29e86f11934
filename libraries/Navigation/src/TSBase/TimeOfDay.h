#pragma once

#include <TSBase/Export.h>

/// gettimeofday(timeval*, timezone*): seconds and microseconds since 1970-01-01 00:00 UTC. On POSIX it is the C
/// library's own; on Windows this library exports it, with minutes west of Greenwich and the daylight flag of the
/// runtime in the time-zone record, and either pointer may be null. The result is 0.
#ifdef Q_OS_WIN
#include <winsock2.h>

struct timezone
{
    int tz_minuteswest;
    int tz_dsttime;
};

extern "C" TBR_NAVIGATION_EXPORT int gettimeofday(timeval* time, timezone* zone);
#else
#include <sys/time.h>
#endif
