#pragma once

#include <TSClientInterface/CaTool.h>
#include <tbrCore/DLLFactory.h>

#include <QPointer>

#include <mutex>

class CaToolServer;
class CaToolServerFactory;
struct CaToolInfo;

/// The tool set of a tool server, as the client sees it.
///
/// The list loads the client-interface module that the settings name, connects its CaToolServer, and keeps one CaTool
/// for each tool that the server reports. When a request learns that the tool set has changed, the list reads it again:
/// tools are recognised by their geometry, so what an application hung on them survives.
///
///     created --connect()--> connected, tool set read --TOOL_SET_CHANGED from a request--> tool set read again
///     tool: delivered --missing in a reading--> unplugged and kept --delivered again--> plugged, the same object
///
/// Settings, both "[NOT YET DEFINED]" by default: "Tobrel/Navigation/CaToolList/ClientInterfaceModulePath" is the
/// module's folder, "Tobrel/Navigation/CaToolList/ClientInterfaceModule" its file name without extension.
/// Results: status codes of CaToolServer, the server's passed on unchanged. Without a module every request returns
/// NO_CONNECTION (-1).
/// Ownership: the list owns its CaToolServer and every tool that it ever made; tools die with the list. A reference is
/// borrowed. A slot must not delete the list while it emits; deleteLater() may be used.
/// Thread: use the list on one thread; all its signals are emitted there, with no lock held by the list. Only
/// getNumberOfTools() and getTool(int) may be called from other threads.
/// Limits: 32 tools, see toolChange(). Whatever a server answers, a request ends: a sequence is left after 1024
/// fetches with the status of the last one, and a request that keeps reporting TOOL_SET_CHANGED returns it after 16
/// readings of the tool set. A request made by a slot while the list announces a new tool set repeats itself once; when
/// such requests nest four deep, the innermost returns TOOL_SET_CHANGED without reading.
class TBR_NAVIGATION_EXPORT CaToolList : public QObject, public CaSubject
{
    Q_OBJECT
public:
    using QObject::connect;

    /// Loads the module; see getToolServer() for the outcome.
    CaToolList();
    /// The same; `name` becomes the list's object name.
    explicit CaToolList(const std::string& name);
    ~CaToolList() override;

    /// The process-wide list, made at the first call and never deleted.
    static CaToolList* getTheToolList();
    /// A body named "CAM" without points, which stands for the camera: setReference(getTracker()) makes the camera's
    /// frame the reference. The first list makes it; null before.
    static CaRigidBody* getTracker();

    /// Connects the list's server by way of another one, and reads the tool set. Null: NO_CONNECTION.
    virtual int connect(CaToolServer* other);
    /// Connects the list's server, and reads the tool set.
    virtual int connect(const char* host, int port);
    /// Ends the connection. The tools stay as they are.
    virtual int disconnect();
    virtual bool isConnected() const;
    /// The server's status; when it says that the tool set has changed, the tool set is read.
    virtual int getStatus();
    virtual int getNumberOfTools() const;
    /// Makes a body, which is known to the server by its name, the frame of reference. Emits ReferenceChangedSIG when
    /// the server agrees. Null: UNKNOWN_TOOL (-11).
    virtual int setReference(CaRigidBody* body);
    /// The body that was last set, null at first and when it has died.
    virtual CaRigidBody* getReference() const;

    /// Fetches all tools' imaginary points; tools that are not delivered get them marked invalid. No tool emits a
    /// signal. Returns the status that ended the sequence.
    virtual int updateAllImags();
    /// The same for the real markers.
    virtual int updateAllReals();
    /// Fetches all tools' poses. With `notify`, poses that are not delivered become invalid, and then every tool
    /// announces its pose in list order; without, they keep their last pose and nothing is announced. A change of the
    /// tool set meanwhile makes the repeated request one with `notify`. Returns the status that ended the sequence.
    virtual int updateAllTransforms(bool notify);
    /// updateAllTransforms(true), and then each tool's imaginary points follow from its pose and its rigid body,
    /// without asking the server; without a valid pose they are marked invalid.
    virtual int updateAllTransformsAndImags();
    /// Allows getNearestTool() these `count` types and no others.
    virtual int setNearestTypes(const unsigned char* types, int count);
    /// The tool nearest to the camera; its imaginary points are updated on the way. On failure `tool` becomes null,
    /// unless there is no module to ask. A tool that is not in the list: UNKNOWN_TOOL (-11), with an "ERROR" log line.
    virtual int getNearestTool(CaTool*& tool);

protected:
    /// Makes a new tool of the list; a derived list may make other kinds, or return null to leave the tool out. The
    /// list takes ownership, plugs the tool and gives it its points.
    virtual CaTool* createTool(const char* name, unsigned char type, int port, int numberOfImags, int numberOfReals);

    /// Reads the tool set from the server and emits ToolSetChangedSIG, also when the set is empty or was cut short by
    /// an error. Returns the status that ended the reading.
    ///
    /// A delivered tool is the first one of the current tools with the same geometry (CaTool::equals()); so delivered
    /// tools of one geometry are the same object, which then stands in the list more than once. Otherwise it is one of
    /// the unplugged tools with the same geometry, which is plugged; otherwise a new one. Recognised tools get the
    /// delivered name and points; type and, for current tools, the port stay as they were. Tools that were not
    /// delivered are unplugged and kept. Points beyond 32 and 8 are cut off, tools beyond 32 left out, both with an
    /// "ERROR" log line. A call from a slot while the set is being read does nothing and returns TOOL_SET_CHANGED.
    virtual int toolChange();

public:
    /// Makes the CaToolServer of a module, which the caller owns. Null, with "ERROR" log lines, when the module cannot
    /// be loaded.
    CaToolServer* createToolServerInterface(std::string& moduleFile);
    /// The list's server, null when no module could be loaded.
    CaToolServer* getToolServer() const;

    /// The tool at an index, in the order in which the server delivered them. Indices are the caller's responsibility:
    /// one outside the list gives null.
    CaTool* getTool(int index) const;
    /// The first tool of exactly this name, null when there is none.
    CaTool* getTool(const char* name) const;
    CaTool* getTool(const std::string& name) const;
    /// The first tool of this type, null when there is none.
    CaTool* getToolByType(unsigned char type) const;

signals:
    void ToolSetChangedSIG();
    void ReferenceChangedSIG();

protected:
    /// The index of the first tool of exactly this name, -1 when there is none.
    int getToolIndex(const char* name) const;
    /// The index of the first tool that equals `tool`, -1 when there is none.
    static int findTool(CaTool* const* tools, int count, const CaTool& tool);
    static int findTool(std::vector<CaTool*> tools, const CaTool& tool);
    int getNumberOfUnpluggeds() const;
    /// An unplugged tool; an index outside their number gives null.
    CaTool* getUnplugged(int index) const;

private:
    static constexpr int MAX_TOOLS = 32;

    struct PointKind;
    class Updates;

    void init(const std::string& name);
    std::vector<CaTool*> distinctTools() const;

    int readToolSet(std::vector<CaTool*>& toolSet);
    CaTool* toolFor(const CaToolInfo& info);
    CaTool* takeUnplugged(const CaTool& delivered);
    CaTool* makeTool(const CaToolInfo& info);
    void replaceToolSet(const std::vector<CaTool*>& toolSet);
    bool readToolSetAgain();

    template <class Request>
    int repeatWhileToolSetChanges(Request request);
    template <class Fetch, class Deliver>
    int fetchAll(Updates& updates, Fetch fetch, Deliver deliver);
    int updateAllPoints(const PointKind& kind);
    std::unique_ptr<Updates> takeUpdates();

    std::unique_ptr<CaToolServer> m_ToolServer;
    CaTool* m_Tools[MAX_TOOLS];
    int m_NumberOfTools;
    std::vector<CaTool*> m_Unpluggeds;
    std::unique_ptr<DLLFactory<CaToolServerFactory>> m_Factory;
    std::unique_ptr<std::mutex> m_Mutex; // guards m_Tools, m_NumberOfTools and m_Unpluggeds; nothing is called under it
    QPointer<CaRigidBody> m_Reference;
    bool m_ReadsToolSet; // toolChange() is reading the tool set
    int m_OpenReadings;  // requests that wait for their toolChange() to return
    int m_ToolSetNumber; // of the tool sets so far
    std::unique_ptr<Updates>
        m_SpareUpdates; // the next update's, so that it needs no memory; null while one is going on

    static CaToolList* ourDefaultToolListPointer;
    static CaRigidBody* ourTracker;
};
