#include <TSBase/Tool.h>

#include <TSBase/LogFormat.h>

#include <tbrCore/Log.h>

#include <iostream>
#include <string>
#include <utility>

namespace
{

constexpr double INVALID = static_cast<double>(-3.0e28f);

static_assert(LogFormat::ToolContent::SIZE == 972, "Tool keeps a whole content record");

bool isMeasured(const Matrix3x3& rotation)
{
    return rotation[0][0] != INVALID;
}

/// The elements of `source` as a list for a record that caps the count at `room`.
template <class Container>
record::PointList listOf(const Container& source, unsigned int room)
{
    record::PointList list;
    list.count = static_cast<int>(std::min<std::size_t>(source.size(), room));
    std::copy_n(source.begin(), list.held(), list.points);
    return list;
}

template <class Container>
void copyAll(const Container& source, record::PointList& list)
{
    list.count = static_cast<int>(source.size());
    std::copy_n(source.begin(), list.held(), list.points);
}

template <class Container>
const Vector3d& elementOr(const Container& source, unsigned int i, const Vector3d& fallback)
{
    return i < source.size() ? source[i] : fallback;
}

float withinLimits(float value)
{
    return value > 1.275f || value < 0.005f ? 0.0f : value;
}

void writeBlock(const std::vector<char>& block, std::FILE* stream)
{
    if (std::fwrite(block.data(), 1, block.size(), stream) != block.size())
        TBR_LOG("ERROR") << "A record could not be written to the tracking log." << std::endl;
}

} // namespace

const Vector3d Tool::invalidVector(INVALID, INVALID, INVALID);

Tool::Tool(int ID, int GID, const std::string& name, const std::string& secondName, const std::string& owner, int type,
           int startCalibrationPoint, int /*reserved*/, std::vector<Vector3d> realMarkers,
           std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, unsigned int avgBufferSize)
    : m_Status(0), m_StartMarker(0), m_ID(ID), m_SecondName(secondName), m_Name(name), m_Owner(owner),
      m_CalibrationDate(0), m_Type(type), m_StartCalibrationPoint(startCalibrationPoint), m_MarkerAngleLimit(60),
      m_Max3D(0.0f), m_MaxRMS(0.0f), m_MinMarkers(3), m_GID(GID), m_RealMarkers(std::move(realMarkers)),
      m_NumberOfJacks(numberOfJacks), m_ImaginaryMarkers(imaginaryMarkers.begin(), imaginaryMarkers.end()),
      m_RealMarkerPositions(m_RealMarkers.size(), invalidVector), m_RotationAverages(9, floatAvg(avgBufferSize)),
      m_TranslationAverages(3, floatAvg(avgBufferSize)), m_ContentRecord(), m_Rms(0.0f), m_IsVisible(true)
{
    std::cout << std::string(87, '-') + "\nTool.cpp: avgBufferSize = " + std::to_string(avgBufferSize) + "\n"
              << std::flush;
    updateLogStream();
}

Tool::Tool(std::FILE* stream, unsigned int avgBufferSize)
    : m_Status(-8), m_StartMarker(0), m_ID(0), m_CalibrationDate(0), m_Type(0), m_StartCalibrationPoint(0),
      m_MarkerAngleLimit(60), m_Max3D(0.0f), m_MaxRMS(0.0f), m_MinMarkers(3), m_GID(0), m_NumberOfJacks(0),
      m_RotationAverages(9, floatAvg(avgBufferSize)), m_TranslationAverages(3, floatAvg(avgBufferSize)),
      m_ContentRecord(), m_Rms(0.0f), m_IsVisible(true)
{
    if (!readContent(stream))
    {
        TBR_LOG("toolserver") << LogFormat::SHORT_RECORD_MESSAGE;
        return;
    }
    m_RealMarkerPositions.assign(m_RealMarkers.size(), invalidVector);
    m_Status = 0;
    std::cout << "done.\n" << std::flush;
}

Tool::~Tool() = default;

void Tool::printTo() {}

bool Tool::toolCreationComplete()
{
    return true;
}

bool Tool::readContent(std::FILE* stream)
{
    if (std::fread(m_ContentRecord.data(), 1, m_ContentRecord.size(), stream) != m_ContentRecord.size())
        return false;

    using namespace LogFormat::ToolContent;
    record::Reader<record::BigEndian> read(m_ContentRecord.data(), SIZE);
    record::PointList reals, imaginaries, normals;
    read(REAL_MARKERS, reals);
    read(IMAGINARY_MARKERS, imaginaries);
    read(NORMAL_VECTORS, normals);
    if (!read.isGood())
        return false;

    int jacks, angleLimit, minMarkers;
    float max3D, maxRMS;
    read(ID, m_ID);
    read(GID, m_GID);
    read(NAME, m_Name);
    read(SECOND_NAME, m_SecondName);
    read(TYPE, m_Type);
    read(NUMBER_OF_JACKS, jacks);
    read(MARKER_ANGLE_LIMIT, angleLimit);
    read(MAX_3D, max3D);
    read(MAX_RMS, maxRMS);
    read(MIN_MARKERS, minMarkers);
    m_NumberOfJacks = static_cast<unsigned int>(jacks);
    m_MarkerAngleLimit = angleLimit;
    m_Max3D = max3D;
    m_MaxRMS = maxRMS;
    m_MinMarkers = minMarkers;
    TBR_LOG("toolserver") << "nR:" << reals.count << std::endl;
    m_RealMarkers.assign(reals.points, reals.points + reals.count);
    m_ImaginaryMarkers.assign(imaginaries.points, imaginaries.points + imaginaries.count);
    m_NormalVectors.assign(normals.points, normals.points + normals.count);
    return true;
}

unsigned int Tool::getNumberOfRealMarkers() const
{
    return static_cast<unsigned int>(m_RealMarkers.size());
}

unsigned int Tool::getNumberOfImaginaryMarkers() const
{
    const Lock lock(m_Mutex);
    return static_cast<unsigned int>(m_ImaginaryMarkers.size());
}

unsigned int Tool::getNumberOfNormalVectors() const
{
    const Lock lock(m_Mutex);
    return static_cast<unsigned int>(m_NormalVectors.size());
}

const Vector3d& Tool::getRealMarker(unsigned int i) const
{
    return elementOr(m_RealMarkers, i, invalidVector);
}

const Vector3d& Tool::getImaginaryMarker(unsigned int i) const
{
    const Lock lock(m_Mutex);
    return elementOr(m_ImaginaryMarkers, i, invalidVector);
}

const Vector3d& Tool::getNormalVector(unsigned int i) const
{
    const Lock lock(m_Mutex);
    return elementOr(m_NormalVectors, i, invalidVector);
}

void Tool::copyRealMarkers(record::PointList& points) const
{
    copyAll(m_RealMarkers, points);
}

void Tool::copyImaginaryMarkers(record::PointList& points) const
{
    const Lock lock(m_Mutex);
    copyAll(m_ImaginaryMarkers, points);
}

void Tool::copyNormalVectors(record::PointList& points) const
{
    const Lock lock(m_Mutex);
    points.count = static_cast<int>(m_RealMarkers.size());
    for (int i = 0; i < points.held(); ++i)
        points.points[i] = elementOr(m_NormalVectors, static_cast<unsigned int>(i), invalidVector);
}

void Tool::copyRealMarkerPositions(record::PointList& points, float& rms) const
{
    const Lock lock(m_Mutex);
    copyAll(m_RealMarkerPositions, points);
    rms = m_Rms;
}

void Tool::getRealMarkerPosition(unsigned int i, Vector3d& out) const
{
    const Lock lock(m_Mutex);
    out = elementOr(m_RealMarkerPositions, i, invalidVector);
}

void Tool::getRms(float& out) const
{
    const Lock lock(m_Mutex);
    out = m_Rms;
}

int Tool::getRotationMatrix(Matrix3x3& out) const
{
    const Lock lock(m_Mutex);
    if (!isMeasured(m_Pose.rotation))
        return 0;
    out = m_Pose.rotation;
    return 1;
}

int Tool::getTranslationVector(Vector3d& out) const
{
    const Lock lock(m_Mutex);
    if (m_Pose.translation.x == INVALID)
        return 0;
    out = m_Pose.translation;
    return 1;
}

int Tool::poseOf(const Pose Tool::*which, Matrix3x3& rotation, Vector3d& translation) const
{
    const Lock lock(m_Mutex);
    const Pose& pose = this->*which;
    if (!isMeasured(pose.rotation))
        return 0;
    translation = pose.translation;
    rotation = pose.rotation;
    return 1;
}

int Tool::getTransform(Matrix3x3& rotation, Vector3d& translation) const
{
    return poseOf(&Tool::m_Pose, rotation, translation);
}

int Tool::getTransform(Matrix3x3& rotation, Vector3d& translation, float& rms) const
{
    const Lock lock(m_Mutex);
    if (!isMeasured(m_Pose.rotation))
        return 0;
    translation = m_Pose.translation;
    rotation = m_Pose.rotation;
    rms = m_Rms;
    return 1;
}

int Tool::getStoredTransform(Matrix3x3& rotation, Vector3d& translation) const
{
    return poseOf(&Tool::m_StoredPose, rotation, translation);
}

bool Tool::isVisible() const
{
    return m_IsVisible;
}

template <class Change>
void Tool::changeParameter(Change change)
{
    {
        const Lock lock(m_Mutex);
        change();
    }
    updateLogStream();
}

void Tool::setMarkerAngleLimit(int degrees)
{
    changeParameter([&] { m_MarkerAngleLimit = degrees; });
}

void Tool::setMinMarkers(int count)
{
    changeParameter([&] { m_MinMarkers = count; });
}

void Tool::setMax3D(float millimetres)
{
    changeParameter([&] { m_Max3D = withinLimits(millimetres); });
}

void Tool::setMaxRMS(float millimetres)
{
    changeParameter([&] { m_MaxRMS = withinLimits(millimetres); });
}

void Tool::setNormalVector(unsigned int i, const Vector3d& normal)
{
    changeParameter([&] { replaceNormalVector(i, normal); });
}

void Tool::setNormalVectors(const record::PointList& normals)
{
    changeParameter(
        [&]
        {
            for (int i = 0; i < normals.held(); ++i)
                replaceNormalVector(static_cast<unsigned int>(i), normals.points[i]);
        });
}

void Tool::replaceNormalVector(unsigned int i, const Vector3d& normal)
{
    if (i >= m_NormalVectors.size() && i >= m_RealMarkers.size())
        return;
    if (i >= m_NormalVectors.size())
        m_NormalVectors.resize(i + 1);
    m_NormalVectors[i] = normal;
}

void Tool::setImaginaryMarker(unsigned int i, const Vector3d& point)
{
    changeParameter([&] { replaceImaginaryMarker(i, point); });
}

void Tool::setImaginaryMarkers(const record::PointList& points)
{
    changeParameter(
        [&]
        {
            for (int i = 0; i < points.held(); ++i)
                replaceImaginaryMarker(static_cast<unsigned int>(i), points.points[i]);
        });
}

void Tool::replaceImaginaryMarker(unsigned int i, const Vector3d& point)
{
    if (i >= m_ImaginaryMarkers.size())
        m_ImaginaryMarkers.resize(std::size_t(i) + 1);
    m_ImaginaryMarkers[i] = point;
}

void Tool::setStartMarker(int index)
{
    m_StartMarker = index;
}

void Tool::setStatus(int status)
{
    m_Status = status;
}

void Tool::updateRealMarker(unsigned int i, const Vector3d& position)
{
    {
        const Lock lock(m_Mutex);
        if (i < m_RealMarkerPositions.size())
        {
            m_RealMarkerPositions[i] = position;
            return;
        }
    }
    TBR_LOG("toolserver") << "Update error - invalid real marker #" << i << " for " << m_Name << std::endl;
}

void Tool::setRotation(const Matrix3x3& rotation)
{
    m_Pose.rotation = rotation;
    m_IsVisible = isMeasured(rotation);
}

void Tool::averageRotation(const Matrix3x3& rotation)
{
    Matrix3x3 mean;
    for (int i = 0; i < 9; ++i)
        mean[i / 3][i % 3] =
            m_RotationAverages[static_cast<std::size_t>(i)].addValue(static_cast<float>(rotation[i / 3][i % 3]));
    mean.orthonormalize();
    setRotation(mean);
}

void Tool::averageTranslation(const Vector3d& translation)
{
    for (int axis = 0; axis < 3; ++axis)
        m_Pose.translation[axis] =
            m_TranslationAverages[static_cast<std::size_t>(axis)].addValue(static_cast<float>(translation[axis]));
}

void Tool::updateRotation(const Matrix3x3& rotation)
{
    const Lock lock(m_Mutex);
    averageRotation(rotation);
}

void Tool::updateRotation(const float rotation[3][3])
{
    Matrix3x3 wide;
    for (int i = 0; i < 9; ++i)
        wide[i / 3][i % 3] = rotation[i / 3][i % 3];
    updateRotation(wide);
}

void Tool::updateTranslation(const Vector3d& translation)
{
    const Lock lock(m_Mutex);
    averageTranslation(translation);
}

void Tool::updateTransform(const Vector3d& translation, const Matrix3x3& rotation)
{
    const Lock lock(m_Mutex);
    setRotation(rotation);
    m_Pose.translation = translation;
}

void Tool::updateRms(const float& rms)
{
    m_Rms = rms;
}

void Tool::updateFrame(const Vector3d* markerPositions, unsigned int count, const Matrix3x3& rotation,
                       const Vector3d& translation, float rms)
{
    const Lock lock(m_Mutex);
    std::copy_n(markerPositions, std::min<std::size_t>(count, m_RealMarkerPositions.size()),
                m_RealMarkerPositions.begin());
    averageRotation(rotation);
    averageTranslation(translation);
    m_Rms = rms;
}

void Tool::storeCurrentRigidTransform()
{
    const Lock lock(m_Mutex);
    m_StoredPose = m_Pose;
}

int Tool::relativePose(const Pose& pose, Matrix3x3& rotation, Vector3d& translation)
{
    if (!isMeasured(pose.rotation))
        return 0;

    const Matrix3x3 referenceFromCamera = rotation.transposed();
    const Vector3d referenceOrigin = referenceFromCamera * translation;
    rotation = referenceFromCamera * pose.rotation;
    // The rotation is taken back out of the product on purpose: this is how clients have always seen it rounded.
    const Vector3d toolOrigin = (rotation * pose.rotation.transposed()) * pose.translation;
    translation = toolOrigin - referenceOrigin;
    return 1;
}

Tool::Pose Tool::copyOf(const Pose Tool::*which) const
{
    const Lock lock(m_Mutex);
    return this->*which;
}

Tool::Pose Tool::copyWithRms(float& rms) const
{
    const Lock lock(m_Mutex);
    rms = m_Rms;
    return m_Pose;
}

int Tool::relativeToTool(const Pose& referencePose, const Pose& pose, Matrix3x3& rotation, Vector3d& translation)
{
    if (!isMeasured(referencePose.rotation))
        return -1;

    Matrix3x3 relativeRotation = referencePose.rotation;
    Vector3d relativeTranslation = referencePose.translation;
    if (relativePose(pose, relativeRotation, relativeTranslation) == 0)
        return 0;
    rotation = relativeRotation;
    translation = relativeTranslation;
    return 1;
}

int Tool::calculateTransformationToReference(Matrix3x3& rotation, Vector3d& translation) const
{
    return relativePose(copyOf(&Tool::m_Pose), rotation, translation);
}

int Tool::calculateTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation) const
{
    return relativeToTool(reference->copyOf(&Tool::m_Pose), copyOf(&Tool::m_Pose), rotation, translation);
}

int Tool::calculateTransformationToReference(Matrix3x3& rotation, Vector3d& translation, float& rms) const
{
    return relativePose(copyWithRms(rms), rotation, translation);
}

int Tool::calculateTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation,
                                             float& rms) const
{
    return relativeToTool(reference->copyOf(&Tool::m_Pose), copyWithRms(rms), rotation, translation);
}

int Tool::calculateStoredTransformationToReference(Matrix3x3& rotation, Vector3d& translation) const
{
    return relativePose(copyOf(&Tool::m_StoredPose), rotation, translation);
}

int Tool::calculateStoredTransformationToReference(Tool* reference, Matrix3x3& rotation, Vector3d& translation) const
{
    return relativeToTool(reference->copyOf(&Tool::m_StoredPose), copyOf(&Tool::m_StoredPose), rotation, translation);
}

void Tool::updateLogStream()
{
    printTo();

    using namespace LogFormat::ToolContent;
    const Lock lock(m_Mutex);
    record::Writer<record::BigEndian> write(m_ContentRecord.data(), SIZE);
    write(NAME, m_Name);
    write(SECOND_NAME, m_SecondName);
    write(TYPE, m_Type);
    write(REAL_MARKERS, listOf(m_RealMarkers, 32));
    write(NORMAL_VECTORS, listOf(m_NormalVectors, 32));
    write(IMAGINARY_MARKERS, listOf(m_ImaginaryMarkers, 8));
    write(ID, m_ID);
    write(NUMBER_OF_JACKS, static_cast<int>(m_NumberOfJacks));
    write(MARKER_ANGLE_LIMIT, m_MarkerAngleLimit);
    write(MAX_3D, m_Max3D);
    write(MAX_RMS, m_MaxRMS);
    write(GID, m_GID);
    write(MIN_MARKERS, m_MinMarkers);
}

void Tool::appendToolContent(std::vector<char>& block) const
{
    const Lock lock(m_Mutex);
    block.insert(block.end(), m_ContentRecord.begin(), m_ContentRecord.end());
}

void Tool::appendToolRTData(std::vector<char>& block) const
{
    const std::size_t start = block.size();
    const int size = LogFormat::realTimeSize(static_cast<int>(m_RealMarkers.size()));
    block.resize(start + static_cast<std::size_t>(size));

    const Lock lock(m_Mutex);
    record::Writer<record::BigEndian> write(block.data() + start, size);
    int offset = 0;
    for (const Vector3d& position : m_RealMarkerPositions)
    {
        write(record::Field<float, 3>{offset}, position);
        offset += 12;
    }
    const record::Field<float, 9> rotation{offset};
    write(rotation, m_Pose.rotation);
    write(record::Field<float, 3>{rotation.end()}, m_Pose.translation);
}

void Tool::logToolContent(std::FILE* stream)
{
    std::vector<char> block;
    appendToolContent(block);
    writeBlock(block, stream);
}

void Tool::logToolRTData(std::FILE* stream)
{
    std::vector<char> block;
    appendToolRTData(block);
    writeBlock(block, stream);
}

bool Tool::replayToolRTData(std::FILE* stream)
{
    if (m_Status == -8)
        return false;

    std::vector<char> block(static_cast<std::size_t>(LogFormat::realTimeSize(static_cast<int>(m_RealMarkers.size()))));
    if (std::fread(block.data(), 1, block.size(), stream) != block.size())
        return false;

    const Lock lock(m_Mutex);
    record::Reader<record::BigEndian> read(block.data(), static_cast<int>(block.size()));
    int offset = 0;
    for (Vector3d& position : m_RealMarkerPositions)
    {
        read(record::Field<float, 3>{offset}, position);
        offset += 12;
    }
    const record::Field<float, 9> rotation{offset};
    Matrix3x3 replayed;
    read(rotation, replayed);
    setRotation(replayed);
    read(record::Field<float, 3>{rotation.end()}, m_Pose.translation);
    return true;
}
