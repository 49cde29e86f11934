#include "KilledServer.h"

TEST(LongRecording, MissesAtMostTheLastSecondHoweverOftenTheServerIsKilled)
{
    clockRecording::killAtRandomMoments(60);
}
