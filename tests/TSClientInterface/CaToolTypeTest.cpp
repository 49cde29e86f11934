#include <TSClientInterface/CaToolType.h>

#include <gtest/gtest.h>

#include <set>

namespace
{

/// Checks a predicate, in both forms, against the set of the codes for which it holds.
template <class Predicate, class EnumPredicate>
void expectExactly(const std::set<int>& codes, Predicate predicate, EnumPredicate enumPredicate)
{
    for (int code = 0; code < 256; ++code)
    {
        EXPECT_EQ(predicate(static_cast<unsigned char>(code)), codes.count(code) == 1) << code;
        EXPECT_EQ(enumPredicate(static_cast<CaToolType::ToolType>(code)), codes.count(code) == 1) << code;
    }
}

} // namespace

TEST(CaToolType, CalibratesTheseTypesAndNoOthers)
{
    expectExactly(
        {12, 13, 100, 101, 102, 103, 104, 105}, [](unsigned char type) { return CaToolType::isCalibrateable(type); },
        [](CaToolType::ToolType type) { return CaToolType::isCalibrateable(type); });
}

TEST(CaToolType, VerifiesTheseTypesAndNoOthers)
{
    expectExactly(
        {0, 12, 13, 14, 16, 17, 99, 100, 101, 102, 103, 104, 105},
        [](unsigned char type) { return CaToolType::isVerifyable(type); },
        [](CaToolType::ToolType type) { return CaToolType::isVerifyable(type); });
}
