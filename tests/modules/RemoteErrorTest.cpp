#include <TSClient/RemoteError.h>

#include <gtest/gtest.h>

#include <climits>
#include <map>

namespace
{

TEST(RemoteError, TranslatesTheServersOwnNumbers)
{
    const std::map<int, int> statuses = {{6, -6},   {7, -9},   {8, -10},  {9, -11},  {11, -18},
                                         {13, -20}, {14, -21}, {15, -22}, {16, -23}, {18, -4}};
    for (const auto& [code, status] : statuses)
        EXPECT_EQ(statusOfRemoteError(code), status) << code;
}

TEST(RemoteError, PassesOnACamerasErrorThatIsAStatusAlready)
{
    for (int code = -23; code <= -1; ++code)
        EXPECT_EQ(statusOfRemoteError(code), code);
}

TEST(RemoteError, CallsEveryOtherNumberARemoteError)
{
    for (const int code : {0, 1, 2, 3, 4, 5, 10, 12, 17, 19, 20, 1000, -24, -53, -1000, INT_MAX, INT_MIN})
        EXPECT_EQ(statusOfRemoteError(code), -7) << code;
}

} // namespace
