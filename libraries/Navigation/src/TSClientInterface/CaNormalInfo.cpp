#include <TSClientInterface/CaNormalInfo.h>

#include <algorithm>

CaNormalInfo::CaNormalInfo(int numberOfNormals)
    : m_Normals(static_cast<std::size_t>(std::max(numberOfNormals, 0))),
      m_NumberOfNormals(std::max(numberOfNormals, 0)), m_MarkerAngleLimit(70.0), m_MinMarkerVisible(3),
      m_Max3dError(1.0), m_MaxRmsError(1.0)
{
}

CaNormalInfo::CaNormalInfo(const CaNormalInfo& other)
    : m_Normals(other.m_Normals.begin(), other.m_Normals.begin() + other.m_NumberOfNormals),
      m_NumberOfNormals(other.m_NumberOfNormals), m_MarkerAngleLimit(other.m_MarkerAngleLimit),
      m_MinMarkerVisible(other.m_MinMarkerVisible), m_Max3dError(other.m_Max3dError), m_MaxRmsError(other.m_MaxRmsError)
{
}

CaNormalInfo& CaNormalInfo::operator=(const CaNormalInfo& other)
{
    if (this == &other)
        return *this;

    m_Normals.assign(other.m_Normals.begin(), other.m_Normals.begin() + other.m_NumberOfNormals);
    m_NumberOfNormals = other.m_NumberOfNormals;
    m_MarkerAngleLimit = other.m_MarkerAngleLimit;
    m_MinMarkerVisible = other.m_MinMarkerVisible;
    m_Max3dError = other.m_Max3dError;
    m_MaxRmsError = other.m_MaxRmsError;
    return *this;
}

CaNormalInfo::~CaNormalInfo() = default;

int CaNormalInfo::getNumberOfNormals() const
{
    return m_NumberOfNormals;
}

void CaNormalInfo::setNumberOfNormals(int n)
{
    n = std::max(n, 0);
    if (n == m_NumberOfNormals)
        return;

    std::vector<Vector3d> resized(static_cast<std::size_t>(std::max(n, m_NumberOfNormals)));
    std::copy_n(m_Normals.begin(), std::min(n, m_NumberOfNormals), resized.begin());
    m_Normals.swap(resized);
}

const Vector3d* CaNormalInfo::getNormals() const
{
    return m_Normals.data();
}

void CaNormalInfo::setNormals(const Vector3d* normals)
{
    std::copy_n(normals, m_NumberOfNormals, m_Normals.begin());
}

const Vector3d& CaNormalInfo::getNormal(int index) const
{
    return m_Normals[static_cast<std::size_t>(index)];
}

void CaNormalInfo::setNormal(int index, const Vector3d& normal)
{
    m_Normals[static_cast<std::size_t>(index)] = normal;
}

double CaNormalInfo::getMarkerAngleLimit() const
{
    return m_MarkerAngleLimit;
}

void CaNormalInfo::setMarkerAngleLimit(double limit)
{
    m_MarkerAngleLimit = limit;
}

int CaNormalInfo::getMinMarkerVisible() const
{
    return m_MinMarkerVisible;
}

void CaNormalInfo::setMinMarkerVisible(int number)
{
    m_MinMarkerVisible = number;
}

double CaNormalInfo::getMax3dError() const
{
    return m_Max3dError;
}

void CaNormalInfo::setMax3dError(double error)
{
    m_Max3dError = error;
}

double CaNormalInfo::getMaxRmsError() const
{
    return m_MaxRmsError;
}

void CaNormalInfo::setMaxRmsError(double error)
{
    m_MaxRmsError = error;
}
