#pragma once

#include <support/TestServer.h>

#include <gtest/gtest.h>

#include <memory>

/// One server process for all tests of a suite, which begin with an empty camera and sessions of their own.
template <class Test>
class SharedServer : public Test
{
protected:
    static void SetUpTestSuite() { ourServer = std::make_unique<TestServer>(); }
    static void TearDownTestSuite()
    {
        EXPECT_EQ(ourServer->stop(), 0) << ourServer->process.standardError();
        ourServer.reset();
    }
    void SetUp() override { camera("reset"); }

    static int port() { return ourServer->port(); }
    static std::string camera(const std::string& command) { return ourServer->camera.tell(command); }
    static CameraControl& control() { return ourServer->camera; }
    static TestServer& server() { return *ourServer; }

private:
    inline static std::unique_ptr<TestServer> ourServer;
};
