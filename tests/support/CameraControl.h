#pragma once

#include <support/PlainSocket.h>
#include <support/WireBytes.h>

#include <string>

/// The test's end of the TestCamera in a server process (tests/plugins/TestCamera/TestCamera.h lists the commands).
class CameraControl
{
public:
    CameraControl() : m_Listener(PlainSocket::listening()) {}

    /// The value for the environment variable TBR_TEST_CAMERA.
    std::string address() const { return std::to_string(m_Listener.port()); }

    /// Waits for the camera of the process that was just started.
    void accept() { m_Connection = m_Listener.accept(); }

    /// Has a command carried out and returns its result.
    std::string tell(const std::string& command)
    {
        begin(command);
        return finish();
    }

    /// A command that takes its time, while the test goes on; finish() waits for it.
    void begin(const std::string& command) { m_Connection.send(wire::framed(command)); }
    std::string finish()
    {
        const std::string header = m_Connection.receive(2);
        if (header.size() < 2)
        {
            ADD_FAILURE() << "the camera has gone";
            return {};
        }
        const std::string answer = m_Connection.receive(static_cast<std::size_t>(
            static_cast<unsigned char>(header[0]) << 8 | static_cast<unsigned char>(header[1])));
        EXPECT_EQ(answer.substr(0, 2), "ok") << answer;
        return answer.size() > 3 ? answer.substr(3) : std::string();
    }

private:
    PlainSocket m_Listener;
    PlainSocket m_Connection;
};
