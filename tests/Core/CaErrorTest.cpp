#include <tbrCore/CaError.h>

#include <gtest/gtest.h>

TEST(CaError, CarriesWhatItWasBuiltFrom)
{
    int data = 0;
    const CaError error("Box::NoToolERR", "There is no tool", "Box.cpp", 129, &data);
    EXPECT_EQ("Box::NoToolERR", error.getName());
    EXPECT_EQ("There is no tool", error.getMessage());
    EXPECT_EQ("Box.cpp", error.getFile());
    EXPECT_EQ(129, error.getLine());
    EXPECT_EQ(&data, error.getData());
}

TEST(CaError, MeansSuccessWhenItIsTheNullError)
{
    EXPECT_TRUE(CaError() == CaError::nullError);
    EXPECT_FALSE(CaError() != CaError::nullError);
    EXPECT_EQ("", CaError::nullError.getName());
    EXPECT_EQ("", CaError::nullError.getMessage());
    EXPECT_EQ("", CaError::nullError.getFile());
    EXPECT_EQ(0, CaError::nullError.getLine());
    EXPECT_EQ(nullptr, CaError::nullError.getData());
}

TEST(CaError, DiffersFromSuccessByItsName)
{
    const CaError error("SurgicalToolBox::GenericError", "", "", 0, nullptr);
    EXPECT_TRUE(error != CaError::nullError);
    EXPECT_TRUE(CaError::nullError != error);
    EXPECT_FALSE(error == CaError::nullError);
}

TEST(CaError, EqualsAnErrorOfTheSameKindWhereverItArose)
{
    int data = 0;
    const CaError here("Box::NoToolERR", "There is no tool", "Box.cpp", 129, &data);
    const CaError there("Box::NoToolERR", "", "Other.cpp", 7, nullptr);
    const CaError other("Box::NoBoxERR", "There is no tool", "Box.cpp", 129, &data);
    EXPECT_TRUE(here == there);
    EXPECT_FALSE(here != there);
    EXPECT_TRUE(here != other);
}

TEST(CaError, IsAValue)
{
    CaError error;
    {
        const CaError local("Box::NoToolERR", "There is no tool", "Box.cpp", 129, nullptr);
        error = local;
    }
    EXPECT_EQ("There is no tool", error.getMessage());
    error = CaError::nullError;
    EXPECT_TRUE(error == CaError::nullError);
}
