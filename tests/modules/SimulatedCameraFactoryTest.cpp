#include "SimulatedScenes.h"

#include <support/Eventually.h>

#include <TSBase/Toollist.h>

#include <tbrCore/DLLFactory.h>

#include <gtest/gtest.h>

#include <memory>

namespace
{

const char* const PLUGIN = SIMULATED_CAMERA_PLUGIN;

} // namespace

TEST(SimulatedCameraFactory, IsOfferedByThePlugIn)
{
    const DLLFactory<ToollistFactory> library(PLUGIN);
    EXPECT_EQ(library.getErrorMessage(), "");
    ASSERT_TRUE(library.getFactory());
}

TEST(SimulatedCameraFactory, MakesACameraThatWorks)
{
    const DLLFactory<ToollistFactory> library(PLUGIN);
    ASSERT_TRUE(library.getFactory());
    const std::unique_ptr<Toollist> camera(library.getFactory()->createInstance());
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->getStatus(), 0) << camera->getErrorMsg();
    EXPECT_EQ(camera->getUpdateRate(), 60.0f);

    Tool* const pointer = camera->getTool("Pointer");
    ASSERT_TRUE(pointer);
    Vector3d first, now;
    Matrix3x3 rotation;
    ASSERT_EQ(pointer->getTransform(rotation, first), 1);
    EXPECT_TRUE(eventually([&] { return pointer->getTransform(rotation, now) == 1 && (now - first).length() > 1.0; }));
}

TEST(SimulatedCameraFactory, MakesCamerasThatAreIndependent)
{
    const DLLFactory<ToollistFactory> library(PLUGIN);
    ASSERT_TRUE(library.getFactory());
    const std::unique_ptr<Toollist> first(library.getFactory()->createInstance());
    const std::unique_ptr<Toollist> second(library.getFactory()->createInstance());
    EXPECT_TRUE(first->createTool(1, 0, "Mine", "", 0, 0, 0, scenes::markers(3), {}, 1, true));
    EXPECT_FALSE(second->getTool("Mine"));
}
