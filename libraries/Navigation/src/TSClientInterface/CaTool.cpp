#include <TSClientInterface/CaTool.h>

#include <TSClientInterface/CaToolServer.h>
#include <TSClientInterface/DeliveredPoints.h>

#include <QPointer>

#include <algorithm>
#include <array>
#include <mutex>

namespace
{

constexpr float UNKNOWN_RMS = -1.0F;
constexpr double VISIBLE_BELOW_SQUARED = 1e7; // squared distance from the origin

// Queued connections copy the pose, so its type must be known before the first one is made.
const int transMatrixMetaType = qRegisterMetaType<TransMatrix3d>("TransMatrix3d");

Vector3d pointAt(const std::vector<Vector3d>& points, int index)
{
    Vector3d point;
    point.setUndefined();
    if (index >= 0 && static_cast<std::size_t>(index) < points.size())
        point = points[static_cast<std::size_t>(index)];
    return point;
}

/// Copies into the array where it is, so that pointers to it stay valid while the number does.
void store(const Vector3d* points, int number, std::vector<Vector3d>& array)
{
    array.resize(static_cast<std::size_t>(number));
    std::copy_n(points, number, array.begin());
}

} // namespace

CaTool::Lock::Lock(const CaTool& tool) : m_Mutex(*tool.m_Mutex)
{
    m_Mutex.lock();
}

CaTool::Lock::~Lock()
{
    m_Mutex.unlock();
}

constexpr int CaTool::NOPORT; // so that a Windows DLL has it, for callers that take its address

CaTool::CaTool(CaToolServer* server, const char* name, unsigned char type, int numberOfImags, int numberOfReals)
    : CaRigidBody(name, numberOfImags, numberOfReals), m_Mutex(new _tbr::ToolMutex), m_ToolServer(server), m_Type(type),
      m_PortNumber(NOPORT), m_Imags(static_cast<std::size_t>(getNumberOfImags())),
      m_Reals(static_cast<std::size_t>(getNumberOfReals())), m_Rms(UNKNOWN_RMS), m_ImagsValid(false),
      m_RealsValid(false), m_TransformValid(false)
{
}

CaTool::~CaTool()
{
    waitUntilUnused();
}

void CaTool::setImags(const Vector3d* imags)
{
    const Lock lock(*this);
    store(imags, getNumberOfImags(), m_Imags);
    m_ImagsValid = true;
}

void CaTool::setImagsInvalid()
{
    m_ImagsValid = false;
    m_Rms = UNKNOWN_RMS;
}

int CaTool::updateImags()
{
    const Lock lock(*this);
    if (getNumberOfImags() < 1)
        return CaToolServer::OK;

    const int status = updatePoints<_tbr::MAX_IMAGS>(getNumberOfImags(), &CaToolServer::getImags, &CaTool::setImags,
                                                     &CaTool::setImagsInvalid);
    emit ImagsUpdatedSIG(m_ImagsValid);
    return status;
}

void CaTool::setReals(const Vector3d* reals)
{
    const Lock lock(*this);
    store(reals, getNumberOfReals(), m_Reals);
    m_RealsValid = true;
}

void CaTool::setRealsInvalid()
{
    m_RealsValid = false;
    m_Rms = UNKNOWN_RMS;
}

int CaTool::updateReals()
{
    const Lock lock(*this);
    if (getNumberOfReals() < 1)
        return CaToolServer::OK;

    m_Rms = UNKNOWN_RMS;
    const int status = updatePoints<_tbr::MAX_REALS>(getNumberOfReals(), &CaToolServer::getReals, &CaTool::setReals,
                                                     &CaTool::setRealsInvalid);
    emit RealsUpdatedSIG(m_RealsValid);
    return status;
}

void CaTool::setTransform(const Matrix3x3& rotation, const Vector3d& translation, bool notify)
{
    const Lock lock(*this);
    m_Rotation = rotation;
    m_Translation = translation;
    m_TransformValid.store(true, std::memory_order_release); // as exact as the default, and far cheaper
    if (notify)
        notifyAboutNewTransformation();
}

void CaTool::setTransformInvalid()
{
    m_TransformValid = false;
    m_Rms = UNKNOWN_RMS;
}

int CaTool::updateTransform()
{
    const Lock lock(*this);
    Matrix3x3 rotation;
    Vector3d translation;
    float rms = UNKNOWN_RMS;
    const int status =
        askServer([&](CaToolServer& server) { return server.getTransform(getName(), rotation, translation, &rms); });
    if (status < 0)
    {
        setTransformInvalid();
    }
    else
    {
        setTransform(rotation, translation, true);
        m_Rms = rms;
    }
    return status;
}

bool CaTool::equals(const CaTool& other) const
{
    const std::scoped_lock lock(*m_Mutex, *other.m_Mutex);
    return getNumberOfReals() == other.getNumberOfReals() && getNumberOfImags() == other.getNumberOfImags() &&
           getSignature() == other.getSignature();
}

void CaTool::plug(int portNumber)
{
    const Lock lock(*this);
    m_PortNumber = portNumber;
    emit ToolUnpluggedSIG();
}

void CaTool::unplug()
{
    const Lock lock(*this);
    if (!isPlugged())
        return;

    m_PortNumber = NOPORT;
    emit ToolUnpluggedSIG();
}

int CaTool::calibrate()
{
    const Lock lock(*this);
    if (getNumberOfImags() < 1)
        return CaToolServer::OK;

    return askServer([&](CaToolServer& server)
                     { return server.calibrate(getName(), getRigImags(), getNumberOfImags()); });
}

CaToolServer* CaTool::getToolServer() const
{
    return m_ToolServer;
}

unsigned char CaTool::getType() const
{
    const Lock lock(*this);
    return m_Type;
}

void CaTool::setType(unsigned char type)
{
    const Lock lock(*this);
    m_Type = type;
}

int CaTool::getPortNumber() const
{
    const Lock lock(*this);
    return m_PortNumber;
}

bool CaTool::isPlugged() const
{
    return getPortNumber() != NOPORT;
}

const Vector3d* CaTool::getReals() const
{
    const Lock lock(*this);
    return m_Reals.data();
}

const Vector3d* CaTool::getImags() const
{
    const Lock lock(*this);
    return m_Imags.data();
}

Vector3d CaTool::getReal(int index) const
{
    const Lock lock(*this);
    return pointAt(m_Reals, index);
}

Vector3d CaTool::getImag(int index) const
{
    const Lock lock(*this);
    return pointAt(m_Imags, index);
}

Matrix3x3 CaTool::getRotation() const
{
    const Lock lock(*this);
    return m_Rotation;
}

Vector3d CaTool::getTranslation() const
{
    const Lock lock(*this);
    return m_Translation;
}

bool CaTool::getTransform(TransMatrix3d& out) const
{
    const Lock lock(*this);
    if (!m_TransformValid)
        return false;

    out.setRotation(m_Rotation);
    out.setTranslation(m_Translation);
    return true;
}

float CaTool::getRms() const
{
    const Lock lock(*this);
    return m_Rms;
}

void CaTool::setRms(const float& rms)
{
    const Lock lock(*this);
    m_Rms = rms;
}

bool CaTool::isRmsValid() const
{
    return getRms() >= 0.0F;
}

bool CaTool::isRealsValid() const
{
    const Lock lock(*this);
    return m_RealsValid;
}

bool CaTool::isImagsValid() const
{
    const Lock lock(*this);
    return m_ImagsValid;
}

bool CaTool::isTransformValid() const
{
    const Lock lock(*this);
    return m_TransformValid;
}

bool CaTool::hasValidTransformation(bool allRealsVisible)
{
    const Lock lock(*this);
    updateTransform();
    if (!allRealsVisible)
        return m_TransformValid;

    updateReals();
    return m_TransformValid && numberOfRealsVisible() == getNumberOfReals();
}

bool CaTool::isToolVisible() const
{
    return numberOfRealsVisible() > 2;
}

int CaTool::numberOfRealsVisible() const
{
    const Lock lock(*this);
    return static_cast<int>(std::count_if(m_Reals.begin(), m_Reals.end(),
                                          [](const Vector3d& marker)
                                          { return marker.dot(marker) < VISIBLE_BELOW_SQUARED; }));
}

void CaTool::notifyAboutNewTransformation()
{
    const Lock lock(*this);
    emit TransformationUpdatedSIG(TransMatrix3d(m_Rotation, m_Translation), m_TransformValid);
}

int CaTool::updateImags(CaTool* reference)
{
    // Both mutexes are taken together, so that two tools may be each other's reference at the same time. That of a
    // reference that a slot deletes lives until it is given up.
    const std::scoped_lock lock(*m_Mutex, *(reference ? reference : this)->m_Mutex);
    const QPointer<CaTool> livingReference(reference);

    updateTransform();
    if (livingReference)
        livingReference->updateTransform();

    TransMatrix3d referencePose;
    int status = CaToolServer::OK;
    if (!m_TransformValid)
        status = CaToolServer::TOOL_NOT_IN_VIEW;
    else if (!livingReference || !livingReference->getTransform(referencePose))
        status = CaToolServer::REFERENCE_NOT_IN_VIEW;

    if (status == CaToolServer::OK)
        storeImagsInFrameOf(referencePose);
    else
        setImagsInvalid();
    return status;
}

void CaTool::storeImagsInFrameOf(const TransMatrix3d& reference)
{
    const Matrix3x3 toReference = reference.getRotation().transposed();
    std::vector<Vector3d> imags(static_cast<std::size_t>(getNumberOfImags()));
    for (int i = 0; i < getNumberOfImags(); ++i)
    {
        const Vector3d inCameraFrame = m_Rotation * getRigImag(i) + m_Translation;
        imags[static_cast<std::size_t>(i)] = toReference * (inCameraFrame - reference.getTranslation());
    }
    setImags(imags.data());
}

void CaTool::setNumberOfReals(int n)
{
    const Lock lock(*this);
    CaRigidBody::setNumberOfReals(n);
    m_Reals.resize(static_cast<std::size_t>(getNumberOfReals()));
}

void CaTool::setNumberOfImags(int n)
{
    const Lock lock(*this);
    CaRigidBody::setNumberOfImags(n);
    m_Imags.resize(static_cast<std::size_t>(getNumberOfImags()));
}

void CaTool::waitUntilUnused() const
{
    m_Mutex->waitUntilUnused();
}

template <class Ask>
int CaTool::askServer(Ask ask) const
{
    return m_ToolServer ? ask(*m_ToolServer) : static_cast<int>(CaToolServer::NO_CONNECTION);
}

template <int ROOM, class Get, class Set, class SetInvalid>
int CaTool::updatePoints(int wanted, Get get, Set set, SetInvalid setInvalid)
{
    std::array<Vector3d, ROOM> buffer;
    int count = ROOM;
    float rms = UNKNOWN_RMS;
    const int status =
        askServer([&](CaToolServer& server) { return (server.*get)(getName(), buffer.data(), &count, &rms); });
    if (status < 0)
    {
        (this->*setInvalid)();
    }
    else
    {
        (this->*set)(_tbr::deliveredPoints(buffer.data(), ROOM, count, wanted).data());
        m_Rms = rms;
    }
    return status;
}
