#include <TSClientInterface/CaToolServer.h>
#include <tbrCore/DLLFactory.h>

#include <gtest/gtest.h>

#include <memory>

namespace
{

TEST(TSClientFactory, IsLoadedFromDiskAndMakesIndependentClients)
{
    DLLFactory<CaToolServerFactory> module(TSCLIENT_PLUGIN);
    ASSERT_NE(module.getFactory(), nullptr) << module.getErrorMessage();
    const std::unique_ptr<CaToolServer> one(module.getFactory()->createInstance());
    const std::unique_ptr<CaToolServer> other(module.getFactory()->createInstance());
    ASSERT_NE(one, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_NE(one, other);
    one->setTimeout(5);
    EXPECT_EQ(one->getTimeout(), 5);
    EXPECT_EQ(other->getTimeout(), 1000);
    EXPECT_FALSE(one->isConnected());
}

} // namespace
