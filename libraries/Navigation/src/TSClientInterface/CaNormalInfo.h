#pragma once

#include <TSBase/Export.h>
#include <tbrNumerics/Vector3d.h>

#include <vector>

/// The normal vectors of a tool's markers, with the visibility limits that go with them. A plain value: copies are
/// deep.
///
/// Thread: not guarded; use it from one thread at a time.
class TBR_NAVIGATION_EXPORT CaNormalInfo
{
public:
    /// Default vectors, and the limits as their getters say. A negative number is taken as 0.
    explicit CaNormalInfo(int numberOfNormals);
    /// Copies the source's getNumberOfNormals() normals and the four limits.
    CaNormalInfo(const CaNormalInfo& other);
    CaNormalInfo& operator=(const CaNormalInfo& other);
    virtual ~CaNormalInfo();

    /// The number given to the constructor, or taken over by an assignment.
    int getNumberOfNormals() const;
    /// Provides room for `n` normals and keeps the first ones; the others become default vectors. Mind that
    /// getNumberOfNormals() stays as it was, and that setNormals(), copies and assignments go on using it: room beyond
    /// it is reached with setNormal() and getNormal(), and room below it is never given up. To change the number
    /// itself, assign a CaNormalInfo of that number. The current number changes nothing; a negative one is taken as 0.
    void setNumberOfNormals(int n);

    /// All normals; valid until setNumberOfNormals() or an assignment.
    const Vector3d* getNormals() const;
    /// Copies getNumberOfNormals() vectors.
    void setNormals(const Vector3d* normals);
    /// One normal. Indices are not checked: only those with room are allowed.
    const Vector3d& getNormal(int index) const;
    void setNormal(int index, const Vector3d& normal);

    /// The largest angle between a marker's normal and the direction to the camera at which the marker counts as
    /// visible, in the tool server's unit; 70 at first.
    double getMarkerAngleLimit() const;
    void setMarkerAngleLimit(double limit);
    /// The least number of visible markers for the tool to count as visible; 3 at first.
    int getMinMarkerVisible() const;
    void setMinMarkerVisible(int number);
    /// The largest accepted 3D error of a marker, in the camera's unit; 1 at first.
    double getMax3dError() const;
    void setMax3dError(double error);
    /// The largest accepted RMS error of the tool's fit, in the camera's unit; 1 at first.
    double getMaxRmsError() const;
    void setMaxRmsError(double error);

private:
    std::vector<Vector3d> m_Normals; // never shorter than m_NumberOfNormals
    int m_NumberOfNormals;
    double m_MarkerAngleLimit;
    int m_MinMarkerVisible;
    double m_Max3dError;
    double m_MaxRmsError;
};
