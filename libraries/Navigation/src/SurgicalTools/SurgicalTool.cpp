#include <SurgicalTools/SurgicalTool.h>

#include <tbrBase/WatchdogException.h>

#include <ostream>

namespace
{

// The line that the text of a failed assertion names; fixed, because it is part of that text.
constexpr int DISCONNECT_LINE = 129;

const int surgicalToolMetaType = qRegisterMetaType<SurgicalTool>("SurgicalTool");

// The argument of StateChangeSIG, for queued connections.
const int propertyMetaType = qRegisterMetaType<const char*>("const char*");

} // namespace

SurgicalTool::SurgicalTool() : name("<no name>") {}

SurgicalTool::SurgicalTool(const SurgicalTool&) : QObject() {}

SurgicalTool::~SurgicalTool() = default;

void SurgicalTool::printSelf(std::ostream& stream) const
{
    stream << "SurgicalTool:\n"
           << "=============\n"
           << "tool name : " << name << "\n"
           << "rigid body: " << static_cast<const void*>(getRigidBody()) << "\n";
}

void SurgicalTool::rigidBodyAttached(CaTool*) {}

void SurgicalTool::rigidBodyDetached(CaTool*) {}

void SurgicalTool::rigidBodyMovedSLT(TransMatrix3d transform, bool isValid)
{
    emit ToolMovedSIG(transform, isValid);
}

const std::string& SurgicalTool::getName() const
{
    return name;
}

void SurgicalTool::setName(const std::string& newName)
{
    if (!newName.empty())
        name = newName;
}

CaTool* SurgicalTool::getRigidBody() const
{
    return rigidBody;
}

bool SurgicalTool::getToolTransformation(TransMatrix3d& out)
{
    return rigidBody->getTransform(out);
}

bool SurgicalTool::hasValidTransformation(bool flag)
{
    return rigidBody && rigidBody->hasValidTransformation(flag);
}

bool SurgicalTool::isToolVisible()
{
    return rigidBody && rigidBody->isToolVisible();
}

CaFactory<SurgicalTool>& SurgicalTool::getFactory()
{
    static auto* const factories = new CaFactory<SurgicalTool>;
    return *factories;
}

TBR_AUTO_PTR_BEGIN
std::auto_ptr<SurgicalTool> SurgicalTool::createTool(const std::string& className)
{
    const auto factory = getFactory().find(className);
    const bool isKnown = !className.empty() && factory != getFactory().end();
    return std::auto_ptr<SurgicalTool>(isKnown ? factory->second->createInstance() : nullptr);
}
TBR_AUTO_PTR_END

void SurgicalTool::setRigidBody(CaTool* newBody)
{
    if (rigidBody && rigidBody != newBody)
        tbr::assertHolds(QObject::disconnect(newBody, nullptr, this, nullptr), "disconnect( rigidBody, 0, this, 0 )",
                         __FILE__, DISCONNECT_LINE);

    const QPointer<CaTool> livingBody(newBody); // a slot may delete it
    rigidBody = newBody;
    rigidBodyAttached(newBody);
    emit RigidBodyPluggedSIG(newBody);
    if (!livingBody)
        return;

    // By text, so that others can name this connection, too: the slot is not theirs to take the address of.
    const bool isConnected = connect(newBody, SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)), this,
                                     SLOT(rigidBodyMovedSLT(TransMatrix3d, bool)));
    tbr::assertHolds(isConnected, "connect( rigidBody, TransformationUpdatedSIG, this, rigidBodyMovedSLT )", __FILE__,
                     __LINE__);
}

void SurgicalTool::removeRigidBody()
{
    CaTool* oldBody = rigidBody;
    rigidBody = nullptr;
    rigidBodyDetached(oldBody);
    emit RigidBodyUnpluggedSIG(oldBody);
}
