#include <TSBase/TimeOfDay.h>

#include <support/OwnProcess.h>

#include <QDateTime>

TEST(TimeOfDay, CountsFrom1970InUniversalTime)
{
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    timeval now = {};
    EXPECT_EQ(0, gettimeofday(&now, nullptr));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();

    const qint64 milliseconds = qint64(now.tv_sec) * 1000 + now.tv_usec / 1000;
    EXPECT_LE(before, milliseconds);
    EXPECT_GE(after, milliseconds);
}

TEST(TimeOfDay, GivesTheRemainderInMicroseconds)
{
    timeval now = {};
    now.tv_usec = -1;
    ASSERT_EQ(0, gettimeofday(&now, nullptr));
    EXPECT_LE(0, now.tv_usec);
    EXPECT_GT(1000000, now.tv_usec);
}

TEST(TimeOfDay, FillsTheTimeZoneRecord)
{
    timeval now = {};
    struct timezone zone = {12345, 12345};
    EXPECT_EQ(0, gettimeofday(&now, &zone));
    EXPECT_GE(16 * 60, zone.tz_minuteswest);
    EXPECT_LE(-16 * 60, zone.tz_minuteswest);
}

#ifdef _WIN32 // elsewhere it is the C library's, which leaves the record empty
TEST(TimeOfDay, TellsTheRuntimesTimeZoneAsItWasWhenFirstAskedForIt)
{
    inOwnProcess(
        []
        {
            struct timezone zone = {};
            _putenv("TZ=ABC3DEF"); // three hours west of Greenwich, with summer time
            EXPECT_EQ(0, gettimeofday(nullptr, &zone));
            EXPECT_EQ(180, zone.tz_minuteswest);
            EXPECT_NE(0, zone.tz_dsttime);

            _putenv("TZ=GHI-2");
            EXPECT_EQ(0, gettimeofday(nullptr, &zone));
            EXPECT_EQ(180, zone.tz_minuteswest);
        });
}
#endif
