#pragma once

#include <TSBase/Export.h>

/// gettimeofday(timeval*, timezone*): seconds and microseconds since 1970-01-01 00:00 UTC. On POSIX it is the C
/// library's own; on Windows this library exports it, with minutes west of Greenwich and the daylight flag of the
/// runtime in the time-zone record, and either pointer may be null. The result is 0.
#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <ctime>
#include <winsock2.h>

#ifndef _TIMEZONE_DEFINED // some compilers' <ctime> has it
#define _TIMEZONE_DEFINED
struct timezone
{
    int tz_minuteswest;
    int tz_dsttime;
};
#endif

extern "C" TBR_NAVIGATION_EXPORT int gettimeofday(struct timeval* time, struct timezone* zone);
#else
#include <sys/time.h>
#endif
