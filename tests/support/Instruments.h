#pragma once

#include <SurgicalTools/SurgicalTool.h>
#include <support/PrivateMember.h>
#include <support/RigidMotions.h>

#include <memory>
#include <vector>

// Binding is the tool box's privilege; tests of single instruments do without a box.
struct SetRigidBody
{
    using Type = void (SurgicalTool::*)(CaTool*);
    friend Type privateMember(SetRigidBody);
};
struct RemoveRigidBody
{
    using Type = void (SurgicalTool::*)();
    friend Type privateMember(RemoveRigidBody);
};
template struct PrivateMember<SetRigidBody, &SurgicalTool::setRigidBody>;
template struct PrivateMember<RemoveRigidBody, &SurgicalTool::removeRigidBody>;

inline void bind(SurgicalTool& tool, CaTool* body)
{
    (tool.*privateMember(SetRigidBody()))(body);
}

inline void unbind(SurgicalTool& tool)
{
    (tool.*privateMember(RemoveRigidBody()))();
}

/// A rigid body with these imaginary points, in its own frame, and no real markers.
inline std::unique_ptr<CaTool> bodyWith(const std::vector<Vector3d>& imags, CaToolServer* server = nullptr,
                                        const char* name = "Body")
{
    auto body =
        std::make_unique<CaTool>(server, name, static_cast<unsigned char>(0), static_cast<int>(imags.size()), 0);
    body->setRigImags(imags.data());
    return body;
}

/// Gives the body a valid pose and announces it.
inline void move(CaTool& body, const TransMatrix3d& pose)
{
    body.setTransform(pose.getRotation(), pose.getTranslation(), true);
}

/// Takes the body out of view and announces that.
inline void hide(CaTool& body)
{
    body.setTransformInvalid();
    body.notifyAboutNewTransformation();
}

/// Notes an instrument's signals in the order in which they come.
class InstrumentLog
{
public:
    explicit InstrumentLog(SurgicalTool& tool)
    {
        QObject::connect(&tool, &SurgicalTool::ToolMovedSIG,
                         [this](TransMatrix3d, bool isValid) { note(isValid ? "moved" : "lost"); });
        QObject::connect(&tool, &SurgicalTool::RigidBodyPluggedSIG,
                         [this](CaTool* body) { note(body ? "plugged " + std::string(body->getName()) : "plugged"); });
        QObject::connect(&tool, &SurgicalTool::RigidBodyUnpluggedSIG,
                         [this](CaTool* body)
                         { note(body ? "unplugged " + std::string(body->getName()) : "unplugged"); });
        QObject::connect(&tool, &SurgicalTool::ConfigUpdateSIG, [this] { note("config"); });
        QObject::connect(&tool, &SurgicalTool::StateChangeSIG, [this](const char* property) { note(property); });
    }

    const std::vector<std::string>& signalsSoFar() const { return m_Signals; }
    void forget() { m_Signals.clear(); }

private:
    void note(const std::string& signal) { m_Signals.push_back(signal); }

    std::vector<std::string> m_Signals;
};
