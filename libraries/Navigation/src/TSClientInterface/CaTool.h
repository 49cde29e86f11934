#pragma once

#include <TSClientInterface/CaClientDataMixin.h>
#include <TSClientInterface/CaRigidBody.h>
#include <TSClientInterface/ToolMutex.h>
#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/TransMatrix3d.h>

#include <QMetaType>

#include <atomic>

class CaToolServer;

/// A tracked tool as the client sees it: a rigid body that is plugged into a port of the tracking system or not, and
/// the latest state that the tool server reported for it, each part with a flag that tells whether it is valid.
///
///     not plugged --plug(port)--> plugged --unplug()--> not plugged
///     not valid --successful update--> valid --failed update--> not valid
///
/// Units and frame: millimetres; measured points and poses are in the frame of the server's reference, the rigid body's
/// points in the tool's own frame.
/// Results: status codes of CaToolServer; the server's are passed on unchanged. Without a server: NO_CONNECTION (-1).
/// Buffers: a server delivers at most 32 real markers and 8 imaginary points. A tool may have more; measured points
/// that the server did not deliver are undefined vectors.
/// Thread: measured state may be updated and read from several threads; the tool's recursive mutex is held for the
/// whole of an operation, the server's answer included, and while signals are emitted. So a slot must not wait for
/// another thread that uses the tool, and two threads must not each, from a slot of one tool, use the other's tool.
/// Name and geometry belong to the thread of the CaToolList, which changes them under the mutex.
/// Destruction: waits for the other threads that are inside an operation or wait to get into one; nobody may begin
/// another. A slot must not delete the tool that is emitting; deleteLater() may be used.
class TBR_NAVIGATION_EXPORT CaTool : public CaRigidBody, public CaClientDataMixin
{
    Q_OBJECT
public:
    /// The port number of a tool that is not plugged.
    static constexpr int NOPORT = -1;

    /// A tool that is not plugged and has no valid state. `server` is borrowed and may be null; the rest is as for
    /// CaRigidBody.
    CaTool(CaToolServer* server, const char* name, unsigned char type, int numberOfImags, int numberOfReals);
    ~CaTool() override;

    /// Stores getNumberOfImags() measured points and marks them valid, also when there are none. No signal.
    virtual void setImags(const Vector3d* imags);
    /// Marks the imaginary points invalid and the RMS error unknown, without taking the mutex. No signal.
    virtual void setImagsInvalid();
    /// Asks the server for the imaginary points and the RMS error. A failure leaves both invalid. Emits ImagsUpdatedSIG
    /// either way. A tool without imaginary points does nothing and returns 0.
    virtual int updateImags();
    /// As setImags(), for the real markers.
    virtual void setReals(const Vector3d* reals);
    /// As setImagsInvalid(), for the real markers.
    virtual void setRealsInvalid();
    /// As updateImags(), for the real markers; emits RealsUpdatedSIG. The RMS error is unknown while the server is
    /// asked.
    virtual int updateReals();
    /// Stores a valid pose; `notify` announces it with notifyAboutNewTransformation().
    virtual void setTransform(const Matrix3x3& rotation, const Vector3d& translation, bool notify);
    /// Marks the pose invalid and the RMS error unknown, without taking the mutex. No signal.
    virtual void setTransformInvalid();
    /// Asks the server for the pose, announces it, and then stores its RMS error. A failure makes the pose invalid,
    /// without a signal: call notifyAboutNewTransformation() to announce it.
    virtual int updateTransform();
    /// Whether both tools have as many real markers, as many imaginary points, and exactly the same signature; names
    /// do not count.
    virtual bool equals(const CaTool& other) const;
    /// Stores the port. Emits ToolUnpluggedSIG every time, not ToolPluggedSIG: listeners take it as "the plugging
    /// changed" and ask isPlugged().
    virtual void plug(int portNumber);
    /// Back to NOPORT; emits ToolUnpluggedSIG. A tool that is not plugged changes and tells nothing.
    virtual void unplug();
    /// Lets the server calibrate the tool with the imaginary points as the rigid body has them. Returns 0 without
    /// asking when there are none.
    virtual int calibrate();

    CaToolServer* getToolServer() const;
    unsigned char getType() const;
    void setType(unsigned char type);
    int getPortNumber() const;
    bool isPlugged() const;

    /// All measured points of a kind; valid until their number changes. Other threads may be writing them: getReal()
    /// and getImag() copy one under the mutex.
    const Vector3d* getReals() const;
    const Vector3d* getImags() const;
    /// One measured point. An index outside the tool gives an undefined vector.
    Vector3d getReal(int index) const;
    Vector3d getImag(int index) const;
    Matrix3x3 getRotation() const;
    Vector3d getTranslation() const;
    /// Copies the pose into `out` and returns true; returns false and leaves `out` alone while the pose is invalid.
    bool getTransform(TransMatrix3d& out) const;
    /// The RMS error of the last fit; negative while unknown.
    float getRms() const;
    void setRms(const float& rms);
    bool isRmsValid() const;
    bool isRealsValid() const;
    bool isImagsValid() const;
    bool isTransformValid() const;

    /// Calls updateTransform(), and returns whether the pose is valid. With `allRealsVisible` it also calls
    /// updateReals(), and asks for every real marker to be visible besides. What counts is numberOfRealsVisible(): when
    /// updateReals() fails, that is the last measurement; isRealsValid() tells.
    bool hasValidTransformation(bool allRealsVisible);
    /// Whether at least three real markers are visible.
    bool isToolVisible() const;
    /// The number of measured real markers whose squared distance from the origin is below 1e7; the server puts a
    /// marker out of view beyond that.
    int numberOfRealsVisible() const;
    /// Emits TransformationUpdatedSIG with the pose as it is, valid or not.
    void notifyAboutNewTransformation();
    /// Updates both poses and stores the imaginary points in the frame of `reference`. Returns TOOL_NOT_IN_VIEW (-10)
    /// or REFERENCE_NOT_IN_VIEW (-9) when a pose is invalid, which makes the imaginary points invalid. A null
    /// `reference`, or one that dies while the poses are updated, is not in view. Holds both tools' mutexes. Emits no
    /// ImagsUpdatedSIG.
    int updateImags(CaTool* reference);

signals:
    /// Declared for applications; nothing here emits it (see plug()).
    void ToolPluggedSIG();
    /// After plug() and unplug().
    void ToolUnpluggedSIG();
    void RealsUpdatedSIG(bool valid);
    void ImagsUpdatedSIG(bool valid);
    void TransformationUpdatedSIG(TransMatrix3d transform, bool valid);

protected:
    /// Holds the tool's mutex while it lives. The mutex outlives the tool if need be.
    class TBR_NAVIGATION_EXPORT Lock
    {
    public:
        explicit Lock(const CaTool& tool);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        _tbr::ToolMutex& m_Mutex;
    };

    /// As in CaRigidBody; the measured points follow: the first ones keep their values, further ones are default
    /// vectors.
    void setNumberOfReals(int n) override;
    void setNumberOfImags(int n) override;

    /// Returns when no other thread is inside an operation or waits to get into one. A derived class whose operations
    /// use members of its own begins its destructor with this.
    void waitUntilUnused() const;

private:
    friend class CaToolList;

    template <class Ask>
    int askServer(Ask ask) const;
    template <int ROOM, class Get, class Set, class SetInvalid>
    int updatePoints(int wanted, Get get, Set set, SetInvalid setInvalid);
    void storeImagsInFrameOf(const TransMatrix3d& reference);

    _tbr::ToolMutex::Owner m_Mutex; // guards what follows; held while the server is asked and signals are emitted
    CaToolServer* m_ToolServer;
    unsigned char m_Type;
    int m_PortNumber;
    std::vector<Vector3d> m_Imags;
    std::vector<Vector3d> m_Reals;
    Matrix3x3 m_Rotation;
    Vector3d m_Translation;
    // Atomic, because the set...Invalid() operations write them without the mutex.
    std::atomic<float> m_Rms;
    std::atomic<bool> m_ImagsValid;
    std::atomic<bool> m_RealsValid;
    std::atomic<bool> m_TransformValid;
};

Q_DECLARE_METATYPE(TransMatrix3d)
