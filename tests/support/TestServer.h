#pragma once

#include <support/CameraControl.h>
#include <support/ProtocolClient.h>
#include <support/ServerProcess.h>

#include <string>
#include <vector>

/// A toolserver process with the TestCamera, both in the hands of the test. TBR_TEST_PLUGINS is the camera's folder;
/// link tbrServerTestSupport for it.
class TestServer
{
public:
    /// Starts a server with further options, has the commands carried out before it listens or records, and returns
    /// when clients can connect.
    explicit TestServer(const std::vector<std::string>& options = {}, const std::vector<std::string>& commands = {})
        : process(arguments(options), {{"TBR_TEST_CAMERA", camera.address()}})
    {
        camera.accept();
        for (const std::string& command : commands)
            camera.tell(command);
        camera.tell("start");
        EXPECT_GT(process.port(), 0);
    }

    int port() { return process.port(); }
    int stop() { return process.stop(); }

    CameraControl camera;
    ServerProcess process;

private:
    static std::vector<std::string> arguments(const std::vector<std::string>& options)
    {
        std::vector<std::string> all = ServerProcess::loopback();
        all.insert(all.end(), {"--module-dir", TBR_TEST_PLUGINS, "--module", "TestCamera"});
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }
};
