#pragma once

#include <TSBase/Export.h>
#include <tbrCore/CaSubject.h>
#include <tbrNumerics/Vector3d.h>

#include <QObject>

#include <string>
#include <vector>

/// The geometry of a tracked object as the client knows it: its name, its real markers (the points that the camera
/// sees) and its imaginary points (points of interest that carry no marker, such as a tip).
///
/// Units and frame: all points are in the body's own frame, in the camera's unit (millimetres).
/// Events: every change of a point set is told to the observers (see CaSubject) at once, on the calling thread, under
/// one of the two event names, without data.
/// Thread: not guarded; use a body from one thread at a time. CaTool guards what it adds.
class TBR_NAVIGATION_EXPORT CaRigidBody : public QObject, public CaSubject
{
    Q_OBJECT
public:
    /// The event "CaRigidBody::RIGIMAGS_CHANGED".
    static const char* const RIGIMAGS_CHANGED;
    /// The event "CaRigidBody::RIGREALS_CHANGED".
    static const char* const RIGREALS_CHANGED;

    /// A body without parent whose points all are default vectors. Mind the order of the counts: imaginary points
    /// first. A negative count is taken as 0; `name` must not be null.
    CaRigidBody(const char* name, int numberOfImags, int numberOfReals);
    ~CaRigidBody() override;

    /// Copies the new point in and notifies RIGIMAGS_CHANGED. An index outside the body changes and tells nothing.
    virtual void setRigImag(int index, const Vector3d& point);
    /// Copies getNumberOfImags() points and notifies RIGIMAGS_CHANGED, also when there are none.
    virtual void setRigImags(const Vector3d* points);
    /// Copies getNumberOfReals() points, sums the signature anew and notifies RIGREALS_CHANGED, also when there are
    /// none.
    virtual void setRigReals(const Vector3d* points);

protected:
    /// Changes the number of real markers: the first ones are kept, further ones are default vectors, and the signature
    /// covers the kept markers only. Notifies RIGREALS_CHANGED. The current number changes and tells nothing; a
    /// negative one is taken as 0.
    virtual void setNumberOfReals(int n);
    /// The same for the imaginary points, which have no signature; notifies RIGIMAGS_CHANGED.
    virtual void setNumberOfImags(int n);

public:
    /// Lives until the next setName().
    const char* getName() const;
    /// Also sets the QObject's object name, one character for each byte. `name` must not be null.
    void setName(const char* name);

    int getNumberOfImags() const;
    int getNumberOfReals() const;

    /// All points of a kind; valid until their number changes.
    const Vector3d* getRigImags() const;
    const Vector3d* getRigReals() const;
    /// One point; valid until their number changes. Indices are the caller's responsibility: one outside the body gives
    /// an undefined vector.
    const Vector3d& getRigImag(int index) const;
    const Vector3d& getRigReal(int index) const;

    /// A number that stands for the geometry of the real markers: the running sum of (y + x) + z of each marker in
    /// order; 0 without markers.
    double getSignature() const;

private:
    void sumSignature(int numberOfMarkers);

    std::string m_Name;
    int m_NumberOfImags;
    int m_NumberOfReals;
    std::vector<Vector3d> m_RigImags;
    std::vector<Vector3d> m_RigReals;
    double m_Signature;
};
