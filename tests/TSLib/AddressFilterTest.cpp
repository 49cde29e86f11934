#include <TSLib/AddressFilter.h>

#include <gtest/gtest.h>

TEST(AddressFilter, AllowsEveryAddressWhileThereAreNoNetworks)
{
    const AddressFilter filter;
    EXPECT_TRUE(filter.allows("127.0.0.1"));
    EXPECT_TRUE(filter.allows("255.255.255.255"));
    EXPECT_TRUE(filter.allows("not an address"));
}

TEST(AddressFilter, AllowsASingleAddress)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("192.168.7.5"));
    EXPECT_TRUE(filter.allows("192.168.7.5"));
    EXPECT_FALSE(filter.allows("192.168.7.4"));
    EXPECT_FALSE(filter.allows("192.168.7.50"));
    EXPECT_FALSE(filter.allows("5.7.168.192"));
}

TEST(AddressFilter, AllowsTheAddressesOfANetwork)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("192.168.7.0/24"));
    EXPECT_TRUE(filter.allows("192.168.7.0"));
    EXPECT_TRUE(filter.allows("192.168.7.255"));
    EXPECT_FALSE(filter.allows("192.168.6.255"));
    EXPECT_FALSE(filter.allows("192.168.8.0"));
}

TEST(AddressFilter, CountsTheBitsOfANetworkExactly)
{
    struct Case
    {
        const char* network;
        const char* inside;
        const char* outside;
    };
    const Case cases[] = {
        {"10.0.0.0/8", "10.255.255.255", "11.0.0.0"},
        {"10.0.0.0/7", "11.255.255.255", "12.0.0.0"},
        {"128.0.0.0/1", "255.255.255.255", "127.255.255.255"},
        {"10.1.2.4/31", "10.1.2.5", "10.1.2.6"},
        {"10.1.2.4/32", "10.1.2.4", "10.1.2.5"},
        {"172.16.0.0/12", "172.31.255.255", "172.32.0.0"},
    };
    for (const Case& one : cases)
    {
        AddressFilter filter;
        ASSERT_TRUE(filter.add(one.network)) << one.network;
        EXPECT_TRUE(filter.allows(one.inside)) << one.network;
        EXPECT_FALSE(filter.allows(one.outside)) << one.network;
    }
}

TEST(AddressFilter, AllowsEveryAddressInTheNetworkOfNoBits)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("1.2.3.4/0"));
    EXPECT_TRUE(filter.allows("0.0.0.0"));
    EXPECT_TRUE(filter.allows("255.255.255.255"));
    EXPECT_FALSE(filter.allows("not an address"));
}

TEST(AddressFilter, IgnoresTheBitsOfANetworkBehindItsMask)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("192.168.7.99/24"));
    EXPECT_TRUE(filter.allows("192.168.7.1"));
}

TEST(AddressFilter, AllowsWhatAnyOfItsNetworksAllows)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("10.0.0.0/8"));
    ASSERT_TRUE(filter.add("127.0.0.1"));
    EXPECT_TRUE(filter.allows("10.9.8.7"));
    EXPECT_TRUE(filter.allows("127.0.0.1"));
    EXPECT_FALSE(filter.allows("127.0.0.2"));
}

TEST(AddressFilter, RefusesTextsThatAreNoNetworkAndStaysAsItWas)
{
    AddressFilter filter;
    for (const char* text : {"",           "localhost", "1.2.3",      "1.2.3.",          "1.2.3.4.5",  "1.2.3.256",
                             "1.2.3.1000", "1.2.3.-4",  "1.2.3.4/",   "1.2.3.4/33",      "1.2.3.4/-1", "1.2.3.4/024",
                             "1.2.3.4/8 ", " 1.2.3.4",  "1..3.4",     "1.2.3.4/2x",      "::1",        "/8",
                             "010.2.3.4",  "1.2.3.00",  "1.2.3.4/08", "1.2.3.4,5.6.7.8", "0x1.2.3.4",  "+1.2.3.4"})
        EXPECT_FALSE(filter.add(text)) << text;
    EXPECT_TRUE(filter.allows("1.2.3.4")) << "there is still no network";
}

TEST(AddressFilter, TakesNoNumberWithALeadingZeroWhichOthersReadAsOctal)
{
    AddressFilter filter;
    EXPECT_FALSE(filter.add("192.168.010.1"));
    EXPECT_FALSE(filter.add("010.0.0.0/8"));
    EXPECT_FALSE(filter.add("10.0.0.0/08"));
    EXPECT_TRUE(filter.add("10.0.0.0/8"));
    EXPECT_FALSE(filter.allows("010.0.0.1"));
}

TEST(AddressFilter, KeepsWhatIsNoAddressOutOnceThereIsANetwork)
{
    AddressFilter filter;
    ASSERT_TRUE(filter.add("0.0.0.0/0"));
    for (const char* text : {"", "1.2.3", "1.2.3.4/32", "1.2.3.4 ", "1.2.3.999"})
        EXPECT_FALSE(filter.allows(text)) << text;
}
