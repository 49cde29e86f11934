#pragma once

#include <SurgicalTools/DynamicReference.h>
#include <SurgicalTools/ToolListUpdateThread.h>
#include <tbrCore/CaError.h>

#include <map>

/// The process-wide manager of surgical instruments. It makes the instruments that the settings list, binds each to the
/// rigid body of a tool list that the settings or attachTool() name, connects the tool list to a tool server, and keeps
/// a current instrument.
///
///     made, instruments unbound --connect() or setToolList()--> bound; every attachTool() binds anew
///
/// Settings, read once, for i from 0 to 98 under "Tobrel/Navigation/SurgicalToolBox/SurgicalTool.<i>": ".ClassId" is
/// the instrument's class (a slot without it, or with an unknown one, is passed over), ".Name" its name (the class name
/// by default), ".RigidBody" the name of its rigid body (none by default). Nothing is written.
/// Ownership: the box makes instruments and takes over plugged ones, but does not delete them: they live on when the
/// process ends. An instrument that is deleted elsewhere leaves the box. Tool lists are borrowed; one that connect()
/// made is never deleted.
/// Thread: use it on the thread that first asked for it, usually the main thread.
/// Errors: CaError::nullError is success. Binding may throw, see attachTool().
class TBR_NAVIGATION_EXPORT SurgicalToolBox : public QObject
{
    Q_OBJECT
public:
    using QObject::connect;

    /// No operation returns it; kept for applications that compare with it.
    static const CaError NoToolListERR;
    /// The instrument is not in the box.
    static const CaError ToolNotManagedERR;

    /// The box; the first call makes it, with its thread, so it must not come from a static initialiser. The box is
    /// deleted when the process ends, whether an application object is left then or not.
    static SurgicalToolBox* getInstance();

    /// Connects the tool list, which is made if there is none, to a tool server unless it is connected already; binds
    /// the instruments, emits ConnectToolserverSIG and hands the list to the update thread. On failure returns the
    /// error "SurgicalToolBox::connectionFailed"; a tool list that was made stays. Rigid bodies that come into the tool
    /// list later are not bound by themselves: call connect() or setToolList() again then. Mind that binding adds a
    /// connection to instruments that keep their body, so that it moves them once more; see attachTool().
    const CaError connect(const std::string& host, int port);
    /// Takes a tool list, binds the instruments and hands the list to the update thread. Null is ignored.
    const CaError setToolList(CaToolList* list);
    /// Null at first and when the list has died.
    CaToolList* getToolList();
    bool isConnected() const;

    /// Does nothing: poses come when the tool list is updated. See _tbr::ToolListUpdateThread.
    const CaError startTracking() const;
    /// Does nothing.
    void stopTracking();

    /// Adds an instrument, unattached, and emits ToolPluggedSIG. Returns the error "SurgicalToolBox::GenericError" for
    /// an empty pointer and for an instrument that the box has already, which it keeps.
    TBR_AUTO_PTR_BEGIN
    const CaError plugSurgicalTool(std::auto_ptr<SurgicalTool> tool);
    TBR_AUTO_PTR_END

    /// Attaches an instrument to the rigid body of this name, empty for none, and binds all instruments anew. Another
    /// instrument that had this name loses it; the instrument's present name changes nothing. Returns
    /// ToolNotManagedERR for an instrument that is not in the box.
    ///
    /// Binding goes through every instrument, and what SurgicalTool::setRigidBody() does applies to each: a bound
    /// instrument that is attached to nothing or to another body throws tbr::WatchdogException (its old body stays
    /// bound, the names are changed, and instruments later in the map are not bound), and one that keeps its body gets
    /// another connection to it. So attach instruments before a tool list is there; to free a bound instrument, delete
    /// it and plug a new one.
    const CaError attachTool(SurgicalTool& tool, const std::string& rigidBodyName);

    /// An instrument of exactly this name, null when there is none. Names need not be unique: which one of several is
    /// found is not defined.
    SurgicalTool* getTool(const std::string& name);
    SurgicalTool* getTool(const QString& name);
    /// All instruments, in no defined order.
    std::vector<SurgicalTool*> getAllTools();
    /// All instruments of a class; without `exactType` also those of classes derived from it.
    std::vector<SurgicalTool*> getAllToolsOfType(const std::string& type, bool exactType);
    /// The dynamic reference of this name; null when there is none or it is of another type.
    DynamicReference* getDynamicReference(QString name);

    /// Makes an instrument of the box the current one, emits currentToolChangedSig and returns true. Returns false for
    /// the current one, and, after the "INFO" log line "CurrentToolSet ", for null and for an instrument that is not in
    /// the box.
    bool setCurrentTool(SurgicalTool* tool);
    /// Null at first and when the current instrument has died.
    SurgicalTool* getCurrentTool();

signals:
    void ToolPluggedSIG(SurgicalTool* tool);
    /// Declared for applications; nothing here emits it.
    void ToolUnpluggedSIG(SurgicalTool* tool);
    void ConnectToolserverSIG();
    /// Declared for applications; nothing here emits it.
    void DiconnectToolserverSIG();
    void currentToolChangedSig(SurgicalTool* newTool, SurgicalTool* oldTool);

private:
    TBR_AUTO_PTR_BEGIN
    friend class std::auto_ptr<SurgicalToolBox>; // deletes the box
    TBR_AUTO_PTR_END

    SurgicalToolBox();
    ~SurgicalToolBox() override;

    void readSlot(const std::string& key);
    SurgicalTool* addTool(const std::string& className);
    void updateToolConnections();
    void initNewToolList();
    void forgetTool(SurgicalTool* tool);

    QPointer<CaToolList> toolList;
    SurgicalTool* currentTool;
    std::map<SurgicalTool*, std::string> tools; // with the names of their rigid bodies, empty for none
    _tbr::ToolListUpdateThread* updateThread;

    TBR_AUTO_PTR_BEGIN
    static std::auto_ptr<SurgicalToolBox> m_instance;
    TBR_AUTO_PTR_END
};
