#pragma once

#include <TSLib/ClientSocketInterface.h>

#include <support/ProtocolClient.h>
#include <support/TestToollist.h>

#include <memory>

/// A session and its client on the two ends of a loopback connection.
class TestSession : public ProtocolClient
{
public:
    explicit TestSession(Toollist& list) : TestSession(list, PlainSocket::listening()) {}

    ClientSocketInterface* operator->() const { return m_Session.get(); }
    ClientSocketInterface* get() const { return m_Session.get(); }
    void remove() { m_Session.reset(); }

private:
    TestSession(Toollist& list, PlainSocket listener)
        : ProtocolClient(listener.port()), m_Session(new ClientSocketInterface(listener.accept().release(), &list))
    {
    }

    std::unique_ptr<ClientSocketInterface> m_Session;
};

/// A quarter turn about the z axis: x goes to y, y to -x.
inline Matrix3x3 quarterTurn()
{
    Matrix3x3 rotation;
    rotation[0][0] = rotation[1][1] = 0.0;
    rotation[0][1] = -1.0;
    rotation[1][0] = 1.0;
    return rotation;
}

inline void place(Tool& tool, const Matrix3x3& rotation, const Vector3d& translation)
{
    tool.updateTransform(translation, rotation);
}

inline void hide(Tool& tool)
{
    Matrix3x3 invalid;
    invalid[0][0] = Tool::invalidVector.x;
    tool.updateTransform(Tool::invalidVector, invalid);
}
