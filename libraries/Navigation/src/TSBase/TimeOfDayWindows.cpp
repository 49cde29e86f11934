#include <TSBase/TimeOfDay.h>

#include <cstdint>
#include <ctime>

#include <windows.h>

namespace
{

void readTimeZone(struct timezone& zone)
{
#if defined(_MSC_VER) || defined(_UCRT)
    long offsetSeconds = 0;
    int daylight = 0;
    _get_timezone(&offsetSeconds);
    _get_daylight(&daylight);
#else // an older runtime, which has these values as variables alone
    const long offsetSeconds = _timezone;
    const int daylight = _daylight;
#endif
    zone.tz_minuteswest = static_cast<int>(offsetSeconds / 60);
    zone.tz_dsttime = daylight;
}

} // namespace

int gettimeofday(struct timeval* time, struct timezone* zone)
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
        readTimeZone(*zone);
    }
    return 0;
}
