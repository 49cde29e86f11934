#pragma once

#include <SurgicalTools/AutoPtr.h>
#include <TSClientInterface/CaTool.h>
#include <tbrCore/CaFactory.h>

#include <QPointer>

#include <iosfwd>
#include <string>

/// A typed instrument (drill, pointer, ...) that follows at most one tracked rigid body.
///
///     no body --the tool box binds one--> bound: every pose of the body is relayed as ToolMovedSIG
///
/// Units and frame: millimetres; poses are in the frame of the tool server's reference.
/// Ownership: whoever made the instrument owns it; an instrument only borrows its rigid body and forgets it when the
/// body dies.
/// Thread: use it on the thread where it lives. Poses that arrive on another one are queued to it.
class TBR_NAVIGATION_EXPORT SurgicalTool : public QObject
{
    Q_OBJECT
public:
    /// Named "<no name>", without a rigid body.
    SurgicalTool();
    /// For Qt's meta-type system, where instruments are known by value as "SurgicalTool": a new object with an empty
    /// name, without parent and rigid body. Nothing of `other` is copied.
    SurgicalTool(const SurgicalTool& other);
    SurgicalTool& operator=(const SurgicalTool&) = delete;
    /// The rigid body is left alone.
    ~SurgicalTool() override;

    /// Writes a heading, the name and the address of the rigid body, line by line.
    virtual void printSelf(std::ostream& stream) const;

protected slots:
    /// For subclasses: a rigid body was bound, null for none. Called before RigidBodyPluggedSIG.
    virtual void rigidBodyAttached(CaTool* rigidBody);
    /// For subclasses: `rigidBody` is no longer bound. Called before RigidBodyUnpluggedSIG.
    virtual void rigidBodyDetached(CaTool* rigidBody);
    /// The rigid body has a new pose. A subclass that overrides it calls it at the end: it emits ToolMovedSIG.
    virtual void rigidBodyMovedSLT(TransMatrix3d transform, bool isValid);

public:
    const std::string& getName() const;
    /// An empty name is ignored.
    void setName(const std::string& newName);

    /// Null when none is bound.
    CaTool* getRigidBody() const;

    /// Copies the newest pose into `out` and returns true. While the rigid body is out of view, returns false and
    /// leaves `out` alone. A rigid body must be bound: test getRigidBody() first, it is not checked here.
    bool getToolTransformation(TransMatrix3d& out);
    /// Asks the tool server, see CaTool::hasValidTransformation(); false without a rigid body.
    bool hasValidTransformation(bool flag);
    /// See CaTool::isToolVisible(); false without a rigid body.
    bool isToolVisible();

    /// The factories of all instruments by class name. Those of this library are entered when it is loaded. An
    /// application may enter its own, see SurgicalToolFactory. Never freed. Use it on one thread at a time.
    static CaFactory<SurgicalTool>& getFactory();

    /// A new instrument of a registered class, which the caller owns; an empty pointer for an unknown name.
    TBR_AUTO_PTR_BEGIN
    static std::auto_ptr<SurgicalTool> createTool(const std::string& className);
    TBR_AUTO_PTR_END

signals:
    /// Once for every pose of the rigid body; `isValid` is false while it is out of view. A body that was bound twice
    /// reports twice.
    void ToolMovedSIG(TransMatrix3d newLocation, bool isValid);
    /// A rigid body was bound; null for none.
    void RigidBodyPluggedSIG(CaTool* rigidBody);
    void RigidBodyUnpluggedSIG(CaTool* rigidBody);
    /// For subclasses: the instrument's geometry may have changed.
    void ConfigUpdateSIG();
    /// For subclasses: a property of this name, such as "DrillTool::Length", was set.
    void StateChangeSIG(const char* property);

private:
    friend class SurgicalToolBox;

    /// Binds a rigid body, null for none: calls rigidBodyAttached(), emits RigidBodyPluggedSIG and connects the body.
    ///
    /// What to expect, because callers count on it:
    /// - When another body is bound, what is disconnected is the NEW body, not the old one, which stays connected and
    ///   goes on moving the instrument. If the new body was not connected (or is null), a tbr::WatchdogException is
    ///   thrown and the old body stays bound. So an instrument changes its body only to one that is connected already;
    ///   for another body, make a new instrument.
    /// - Binding the bound body again adds a connection: every pose then arrives once more.
    void setRigidBody(CaTool* newBody);
    /// Unbinds the rigid body, calls rigidBodyDetached() and emits RigidBodyUnpluggedSIG. The connection stays: to end
    /// it, call QObject::disconnect(body, nullptr, instrument, nullptr).
    void removeRigidBody();

    QPointer<CaTool> rigidBody;
    std::string name;
};
