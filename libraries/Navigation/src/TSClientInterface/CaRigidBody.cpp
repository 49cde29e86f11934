#include <TSClientInterface/CaRigidBody.h>

#include <algorithm>

const char* const CaRigidBody::RIGIMAGS_CHANGED = "CaRigidBody::RIGIMAGS_CHANGED";
const char* const CaRigidBody::RIGREALS_CHANGED = "CaRigidBody::RIGREALS_CHANGED";

namespace
{

const Vector3d& pointAt(const std::vector<Vector3d>& points, int index)
{
    static const Vector3d none = []
    {
        Vector3d undefined;
        undefined.setUndefined();
        return undefined;
    }();
    const auto i = static_cast<std::size_t>(index);
    return index >= 0 && i < points.size() ? points[i] : none;
}

} // namespace

CaRigidBody::CaRigidBody(const char* name, int numberOfImags, int numberOfReals)
    : m_NumberOfImags(std::max(numberOfImags, 0)), m_NumberOfReals(std::max(numberOfReals, 0)),
      m_RigImags(static_cast<std::size_t>(m_NumberOfImags)), m_RigReals(static_cast<std::size_t>(m_NumberOfReals)),
      m_Signature(0.0)
{
    setName(name);
}

CaRigidBody::~CaRigidBody() = default;

void CaRigidBody::setRigImag(int index, const Vector3d& point)
{
    if (index < 0 || index >= m_NumberOfImags)
        return;

    m_RigImags[static_cast<std::size_t>(index)] = point;
    notify(RIGIMAGS_CHANGED, nullptr);
}

void CaRigidBody::setRigImags(const Vector3d* points)
{
    std::copy_n(points, m_NumberOfImags, m_RigImags.begin());
    notify(RIGIMAGS_CHANGED, nullptr);
}

void CaRigidBody::setRigReals(const Vector3d* points)
{
    std::copy_n(points, m_NumberOfReals, m_RigReals.begin());
    sumSignature(m_NumberOfReals);
    notify(RIGREALS_CHANGED, nullptr);
}

void CaRigidBody::setNumberOfReals(int n)
{
    n = std::max(n, 0);
    if (n == m_NumberOfReals)
        return;

    const int kept = std::min(n, m_NumberOfReals);
    m_RigReals.resize(static_cast<std::size_t>(n));
    m_NumberOfReals = n;
    sumSignature(kept);
    notify(RIGREALS_CHANGED, nullptr);
}

void CaRigidBody::setNumberOfImags(int n)
{
    n = std::max(n, 0);
    if (n == m_NumberOfImags)
        return;

    m_RigImags.resize(static_cast<std::size_t>(n));
    m_NumberOfImags = n;
    notify(RIGIMAGS_CHANGED, nullptr);
}

const char* CaRigidBody::getName() const
{
    return m_Name.c_str();
}

void CaRigidBody::setName(const char* name)
{
    const std::string text = name; // may be our own name
    m_Name = text;
    setObjectName(QString::fromLatin1(text.c_str()));
}

int CaRigidBody::getNumberOfImags() const
{
    return m_NumberOfImags;
}

int CaRigidBody::getNumberOfReals() const
{
    return m_NumberOfReals;
}

const Vector3d* CaRigidBody::getRigImags() const
{
    return m_RigImags.data();
}

const Vector3d* CaRigidBody::getRigReals() const
{
    return m_RigReals.data();
}

const Vector3d& CaRigidBody::getRigImag(int index) const
{
    return pointAt(m_RigImags, index);
}

const Vector3d& CaRigidBody::getRigReal(int index) const
{
    return pointAt(m_RigReals, index);
}

double CaRigidBody::getSignature() const
{
    return m_Signature;
}

void CaRigidBody::sumSignature(int numberOfMarkers)
{
    m_Signature = 0.0;
    for (int i = 0; i < numberOfMarkers; ++i)
    {
        const Vector3d& marker = m_RigReals[static_cast<std::size_t>(i)];
        m_Signature += (marker.y + marker.x) + marker.z;
    }
}
