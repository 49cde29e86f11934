#include <TSClientInterface/CaClientDataMixin.h>

#include <gtest/gtest.h>

namespace
{

/// Counts its deaths.
class Data : public CaClientData
{
public:
    explicit Data(int& deaths) : m_Deaths(deaths) {}
    ~Data() override { ++m_Deaths; }

private:
    int& m_Deaths;
};

} // namespace

TEST(CaClientDataMixin, StartsWithoutData)
{
    const CaClientDataMixin mixin;
    EXPECT_EQ(mixin.getClientData(), nullptr);
}

TEST(CaClientDataMixin, ReturnsTheDataItIsGivenAndDeletesItAtItsEnd)
{
    int deaths = 0;
    {
        CaClientDataMixin mixin;
        auto* data = new Data(deaths);
        EXPECT_EQ(mixin.setClientData(data), data);
        EXPECT_EQ(mixin.getClientData(), data);
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
}

TEST(CaClientDataMixin, DeletesDataThatIsReplaced)
{
    int deaths = 0;
    CaClientDataMixin mixin;
    mixin.setClientData(new Data(deaths));
    EXPECT_EQ(mixin.setClientData(nullptr), nullptr);
    EXPECT_EQ(deaths, 1);
}

TEST(CaClientDataMixin, KeepsDataThatIsSetAgain)
{
    int deaths = 0;
    CaClientDataMixin mixin;
    auto* data = new Data(deaths);
    mixin.setClientData(data);
    EXPECT_EQ(mixin.setClientData(data), data);
    EXPECT_EQ(deaths, 0);
}

TEST(CaClientDataMixin, LeavesDataWhereItIsWhenCopiedOrAssigned)
{
    int deaths = 0;
    {
        CaClientDataMixin source;
        CaClientDataMixin target;
        auto* data = new Data(deaths);
        auto* other = new Data(deaths);
        source.setClientData(data);
        target.setClientData(other);

        target = source;
        const CaClientDataMixin copy(source);

        EXPECT_EQ(source.getClientData(), data);
        EXPECT_EQ(target.getClientData(), other);
        EXPECT_EQ(copy.getClientData(), nullptr);
    }
    EXPECT_EQ(deaths, 2);
}
