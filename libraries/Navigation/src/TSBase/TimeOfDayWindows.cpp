#include <TSBase/TimeOfDay.h>

#include <cstdint>
#include <ctime>
#include <windows.h>

int gettimeofday(timeval* time, timezone* zone)
{
    if (time)
    {
        constexpr std::uint64_t INTERVALS_1601_TO_1970 = 116444736000000000ULL; // of 100 ns
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        const std::uint64_t intervals = std::uint64_t(now.dwHighDateTime) << 32 | now.dwLowDateTime;
        const std::uint64_t microseconds = (intervals - INTERVALS_1601_TO_1970) / 10;
        time->tv_sec = static_cast<long>(microseconds / 1000000);
        time->tv_usec = static_cast<long>(microseconds % 1000000);
    }
    if (zone)
    {
        static const bool isZoneKnown = (_tzset(), true); // once, whichever thread comes first
        (void)isZoneKnown;
        long offsetSeconds = 0;
        int daylight = 0;
        _get_timezone(&offsetSeconds);
        _get_daylight(&daylight);
        zone->tz_minuteswest = static_cast<int>(offsetSeconds / 60);
        zone->tz_dsttime = daylight;
    }
    return 0;
}
