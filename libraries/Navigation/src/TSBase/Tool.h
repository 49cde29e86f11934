#pragma once

#include <TSBase/Export.h>
#include <TSBase/Record.h>

#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/Vector3d.h>
#include <tbrNumerics/floatAvg.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

/// The tool server's record of one tracked rigid body: geometry, tracking parameters, and the latest pose.
///
/// Units and frame: millimetres; geometry in the tool's own frame, poses and marker positions in the camera's.
/// Thread: the camera's thread updates the pose, sessions and the recording timer read it; every pose operation is safe
/// from any thread. The pose of one answer belongs to one frame when the camera module uses updateFrame() or
/// updateTransform(); the separate update functions may be seen half done. Parameters may be set and read from any
/// thread. The references that getRealMarker(), getImaginaryMarker() and getNormalVector() return stay valid as long as
/// the tool; while another thread may set those points, use the copying functions instead.
/// Ownership: made by a camera module or from a log file, owned by the Toollist whose slot it stands in.
class TBR_NAVIGATION_EXPORT Tool
{
public:
    /// Marks what could not be measured: the float -3e28 widened to double, in every component. A rotation whose
    /// element [0][0] has exactly this value means "not visible", a translation whose x has it "no translation". Only
    /// the updates without averaging keep it.
    static const Vector3d invalidVector;

    /// A tool from its description. `reserved` is accepted and ignored, so that callers keep compiling. `avgBufferSize`
    /// is the number of frames over which averaged pose updates are averaged (1: no averaging). Announces itself on
    /// standard output. At first the pose is the identity (so the tool counts as visible) and all marker positions are
    /// invalid.
    Tool(int ID, int GID, const std::string& name, const std::string& secondName, const std::string& owner, int type,
         int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
         std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, unsigned int avgBufferSize);

    /// A tool from the tool-content record at which `stream` stands. When the record is cut short, or announces more
    /// markers than it has room for, the status stays -8, a line is logged and the tool has no geometry.
    Tool(std::FILE* stream, unsigned int avgBufferSize);

    virtual ~Tool();
    /// Prints a description of the tool; a module's own tools may. Called whenever the log record is rebuilt, on the
    /// thread that changed a parameter and without the tool's lock; it must neither insert nor remove tools.
    virtual void printTo();
    /// True in this class.
    virtual bool toolCreationComplete();

    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;

    int getID() const { return m_ID; }
    int getGID() const { return m_GID; }
    int getType() const { return m_Type; }
    const std::string& getName() const { return m_Name; }
    const std::string& getSecondName() const { return m_SecondName; }
    const std::string& getOwner() const { return m_Owner; }
    const std::string& getErrorMsg() const { return m_ErrorMsg; }
    int getCalibrationDate() const { return m_CalibrationDate; }
    int getStartMarker() const { return m_StartMarker; }
    int getStartCalibrationPoint() const { return m_StartCalibrationPoint; }
    int getMinMarkers() const { return m_MinMarkers; }
    int getMarkerAngleLimit() const { return m_MarkerAngleLimit; }
    float getMax3D() const { return m_Max3D; }
    float getMaxRMS() const { return m_MaxRMS; }
    /// 0 when the tool can be used, -8 when its log record was unreadable.
    int getStatus() const { return m_Status; }
    unsigned int getNumberOfJacks() const { return m_NumberOfJacks; }

    unsigned int getNumberOfRealMarkers() const;
    unsigned int getNumberOfImaginaryMarkers() const;
    unsigned int getNumberOfNormalVectors() const;
    /// The point with index `i`, or invalidVector when there is none.
    const Vector3d& getRealMarker(unsigned int i) const;
    const Vector3d& getImaginaryMarker(unsigned int i) const;
    const Vector3d& getNormalVector(unsigned int i) const;

    /// Copies for other threads: all points at one moment, in `points` with their true count.
    void copyRealMarkers(record::PointList& points) const;
    void copyImaginaryMarkers(record::PointList& points) const;
    /// One normal vector for every real marker; invalidVector where none was set.
    void copyNormalVectors(record::PointList& points) const;
    /// The latest measured marker positions, in the camera's frame, and the RMS of the same moment.
    void copyRealMarkerPositions(record::PointList& points, float& rms) const;

    /// The latest measured position of marker `i`, in the camera's frame; invalidVector when it was not seen or there
    /// is no such marker.
    void getRealMarkerPosition(unsigned int i, Vector3d& out) const;
    /// RMS of the last pose fit.
    void getRms(float& out) const;
    /// 1 and the value, or 0 with `out` untouched when the rotation (translation) is marked invalid.
    int getRotationMatrix(Matrix3x3& out) const;
    int getTranslationVector(Vector3d& out) const;
    /// 1 and the pose, or 0 with both untouched when the tool is not visible.
    int getTransform(Matrix3x3& rotation, Vector3d& translation) const;
    /// The same with the RMS of the same moment.
    int getTransform(Matrix3x3& rotation, Vector3d& translation, float& rms) const;
    /// The same for the pose kept at the last footswitch event.
    int getStoredTransform(Matrix3x3& rotation, Vector3d& translation) const;
    /// Whether the current rotation is a measured one. Takes no lock.
    bool isVisible() const;

    void setMarkerAngleLimit(int degrees);
    void setMinMarkers(int count);
    /// Limits from 0.005 to 1.275, compared in single precision; any other value is silently stored as 0 (no limit).
    void setMax3D(float millimetres);
    void setMaxRMS(float millimetres);
    /// Replaces normal vector `i`; grows the list with zero vectors when `i` is a marker's index; otherwise ignored.
    void setNormalVector(unsigned int i, const Vector3d& normal);
    /// Replaces imaginary point `i`, growing the list with zero vectors as needed. There is no upper bound here; a log
    /// record keeps the first 8.
    void setImaginaryMarker(unsigned int i, const Vector3d& point);
    /// Both for all points of a list at one moment: nobody sees a part of them.
    void setNormalVectors(const record::PointList& normals);
    void setImaginaryMarkers(const record::PointList& points);
    void setStartMarker(int index);
    void setStatus(int status);

    /// Stores the position of marker `i` as it was measured; an unknown index is logged and ignored.
    void updateRealMarker(unsigned int i, const Vector3d& position);
    /// Feeds the rotation into the running averages; the pose takes the nearest rotation to the averages.
    void updateRotation(const Matrix3x3& rotation);
    void updateRotation(const float rotation[3][3]);
    /// Feeds the translation into the running averages.
    void updateTranslation(const Vector3d& translation);
    /// Stores the pose as it is, without averaging. With invalidVector and a rotation whose [0][0] is that value the
    /// tool is marked not visible.
    void updateTransform(const Vector3d& translation, const Matrix3x3& rotation);
    void updateRms(const float& rms);
    /// One whole frame at once: marker positions (`count` of them, further ones keep their value), averaged rotation
    /// and translation, RMS. A reader sees all of it or nothing.
    void updateFrame(const Vector3d* markerPositions, unsigned int count, const Matrix3x3& rotation,
                     const Vector3d& translation, float rms);
    /// Keeps the current pose as the stored one.
    void storeCurrentRigidTransform();

    /// Pose of this tool in the frame of a reference. `rotation` and `translation` come in as the reference's pose and
    /// go out as the result. 1 done, 0 this tool is not visible (both untouched).
    int calculateTransformationToReference(Matrix3x3& rotation, Vector3d& translation) const;
    /// The same with another tool as the reference, which must live; -1 when that one is not visible. The locks of the
    /// two tools are never held together.
    int calculateTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation) const;
    /// Both with this tool's RMS of the same moment, which is given whatever the result is.
    int calculateTransformationToReference(Matrix3x3& rotation, Vector3d& translation, float& rms) const;
    int calculateTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation,
                                           float& rms) const;
    /// The first two on the poses kept at the last footswitch event.
    int calculateStoredTransformationToReference(Matrix3x3& rotation, Vector3d& translation) const;
    int calculateStoredTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation) const;

    /// Writes the tool-content record (972 bytes).
    void logToolContent(std::FILE* stream);
    /// Writes the real-time record: marker positions, rotation and translation as they are now.
    void logToolRTData(std::FILE* stream);
    /// The same bytes, appended to a block in memory.
    void appendToolContent(std::vector<char>& block) const;
    void appendToolRTData(std::vector<char>& block) const;
    /// Reads one real-time record into the tool, without averaging. False, with the tool unchanged, when the stream
    /// ends before the record does or the tool itself was unreadable.
    bool replayToolRTData(std::FILE* stream);

private:
    struct Pose
    {
        Matrix3x3 rotation;
        Vector3d translation;
    };
    using Lock = std::lock_guard<std::mutex>;

    static int relativePose(const Pose& pose, Matrix3x3& rotation, Vector3d& translation);
    static int relativeToTool(const Pose& referencePose, const Pose& pose, Matrix3x3& rotation, Vector3d& translation);
    int poseOf(const Pose Tool::*which, Matrix3x3& rotation, Vector3d& translation) const;
    Pose copyOf(const Pose Tool::*which) const;
    Pose copyWithRms(float& rms) const;
    bool readContent(std::FILE* stream);
    void replaceNormalVector(unsigned int i, const Vector3d& normal);
    void replaceImaginaryMarker(unsigned int i, const Vector3d& point);
    void updateLogStream();
    void averageRotation(const Matrix3x3& rotation);
    void averageTranslation(const Vector3d& translation);
    void setRotation(const Matrix3x3& rotation);
    template <class Change>
    void changeParameter(Change change);

    std::atomic<int> m_Status;
    std::string m_ErrorMsg;
    std::atomic<int> m_StartMarker;
    int m_ID;
    std::string m_SecondName;
    std::string m_Name;
    std::string m_Owner;
    int m_CalibrationDate;
    int m_Type;
    int m_StartCalibrationPoint;
    std::atomic<int> m_MarkerAngleLimit;
    std::atomic<float> m_Max3D;
    std::atomic<float> m_MaxRMS;
    std::atomic<int> m_MinMarkers;
    int m_GID;
    std::vector<Vector3d> m_RealMarkers; // never changes after construction
    unsigned int m_NumberOfJacks;

    // Deques: growing them leaves the references that the getters gave out valid.
    std::deque<Vector3d> m_NormalVectors;
    std::deque<Vector3d> m_ImaginaryMarkers;
    std::vector<Vector3d> m_RealMarkerPositions;
    Pose m_Pose;
    Pose m_StoredPose;
    std::vector<floatAvg> m_RotationAverages; // 9, row by row
    std::vector<floatAvg> m_TranslationAverages;
    std::array<char, 972> m_ContentRecord;

    std::atomic<float> m_Rms;
    std::atomic<bool> m_IsVisible;

    /// Guards the points, poses, averages and the content record above. Held for copies and arithmetic only: nothing is
    /// called that waits or that belongs to a module.
    mutable std::mutex m_Mutex;
};
