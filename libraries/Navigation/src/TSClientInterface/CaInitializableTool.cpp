#include <TSClientInterface/CaInitializableTool.h>

#include <TSClientInterface/CaToolServer.h>
#include <TSClientInterface/DeliveredPoints.h>
#include <TSClientInterface/TruncateToInt.h>
#include <tbrCore/Log.h>

#include <algorithm>

CaInitializableTool::CaInitializableTool(CaToolServer* server, const char* name, unsigned char type, int numberOfImags,
                                         int numberOfReals)
    : CaTool(server, name, type, numberOfImags, numberOfReals), m_Identifier(0), m_CalibrationStartIndex(-1),
      m_CalibrationDate(0), m_NumberOfPlugs(0)
{
}

CaInitializableTool::~CaInitializableTool()
{
    waitUntilUnused();
}

int CaInitializableTool::getIdentifier() const
{
    const Lock lock(*this);
    return m_Identifier;
}

void CaInitializableTool::setIdentifier(int identifier)
{
    const Lock lock(*this);
    m_Identifier = identifier;
}

const char* CaInitializableTool::getOwnerName() const
{
    const Lock lock(*this);
    return m_OwnerName ? m_OwnerName->c_str() : nullptr;
}

void CaInitializableTool::setOwnerName(const char* ownerName)
{
    const Lock lock(*this);
    m_OwnerName = ownerName ? std::optional<std::string>(ownerName) : std::nullopt;
}

int CaInitializableTool::getCalibrationStartIndex() const
{
    const Lock lock(*this);
    return m_CalibrationStartIndex;
}

void CaInitializableTool::setCalibrationStartIndex(int index)
{
    const Lock lock(*this);
    m_CalibrationStartIndex = index;
}

int CaInitializableTool::getCalibrationDate() const
{
    const Lock lock(*this);
    return m_CalibrationDate;
}

void CaInitializableTool::setCalibrationDate(int date)
{
    const Lock lock(*this);
    m_CalibrationDate = date;
}

int CaInitializableTool::getNumberOfPlugs() const
{
    const Lock lock(*this);
    return m_NumberOfPlugs;
}

void CaInitializableTool::setNumberOfPlugs(int number)
{
    const Lock lock(*this);
    m_NumberOfPlugs = number;
}

CaNormalInfo* CaInitializableTool::getNormalInfo() const
{
    const Lock lock(*this);
    return m_NormalInfo.get();
}

void CaInitializableTool::setNormalInfo(const CaNormalInfo* info)
{
    const Lock lock(*this);
    if (!info)
        m_NormalInfo.reset();
    else if (!m_NormalInfo)
        m_NormalInfo = std::make_unique<CaNormalInfo>(*info);
    else
        *m_NormalInfo = *info;
}

void CaInitializableTool::setNumberOfReals(int n)
{
    CaTool::setNumberOfReals(n);
}

void CaInitializableTool::setNumberOfImags(int n)
{
    CaTool::setNumberOfImags(n);
}

int CaInitializableTool::initialize()
{
    const Lock lock(*this);
    if (!isPlugged())
    {
        TBR_LOG("ERROR") << "attempt to initialize a non-plugged tool." << std::endl;
        return CaToolServer::UNKNOWN_TOOL;
    }
    if (!getToolServer())
        return CaToolServer::NO_CONNECTION;

    return getToolServer()->initialize(getPortNumber(), getName(), getType(), getRigReals(), getNumberOfReals(),
                                       getRigImags(), getNumberOfImags(), m_Identifier,
                                       m_OwnerName ? m_OwnerName->c_str() : "", m_CalibrationStartIndex,
                                       m_CalibrationDate, m_NumberOfPlugs);
}

int CaInitializableTool::readNormalInfo()
{
    const Lock lock(*this);
    if (!getToolServer())
        return CaToolServer::NO_CONNECTION;

    const int wanted = m_NormalInfo ? m_NormalInfo->getNumberOfNormals() : getNumberOfReals();
    std::vector<Vector3d> normals(static_cast<std::size_t>(std::max(wanted, _tbr::MAX_REALS)));
    int count = 0;
    int markerAngleLimit = 0;
    int minMarkerVisible = 0;
    double max3dError = 0.0;
    double maxRmsError = 0.0;
    const int status = getToolServer()->readNormalInfo(getName(), normals.data(), &count, &markerAngleLimit,
                                                       &minMarkerVisible, &max3dError, &maxRmsError);
    if (status < 0)
        return status;

    if (!m_NormalInfo)
        m_NormalInfo = std::make_unique<CaNormalInfo>(wanted);
    m_NormalInfo->setNormals(normals.data());
    m_NormalInfo->setMarkerAngleLimit(markerAngleLimit);
    m_NormalInfo->setMinMarkerVisible(minMarkerVisible);
    m_NormalInfo->setMax3dError(max3dError);
    m_NormalInfo->setMaxRmsError(maxRmsError);
    return status;
}

int CaInitializableTool::writeNormalInfo()
{
    const Lock lock(*this);
    if (!m_NormalInfo)
    {
        TBR_LOG("ERROR") << "writeNormalInfo(): no normal info defined." << std::endl;
        return CaToolServer::UNKNOWN_TOOL;
    }
    if (!isPlugged())
    {
        TBR_LOG("ERROR") << "writeNormalInfo(): attempt to add normals vectors to a non-plugged tool." << std::endl;
        return CaToolServer::UNKNOWN_TOOL;
    }
    if (!getToolServer())
        return CaToolServer::NO_CONNECTION;

    return getToolServer()->writeNormalInfo(getName(), m_NormalInfo->getNormals(), m_NormalInfo->getNumberOfNormals(),
                                            _tbr::truncateToInt(m_NormalInfo->getMarkerAngleLimit()),
                                            m_NormalInfo->getMinMarkerVisible(), m_NormalInfo->getMax3dError(),
                                            m_NormalInfo->getMaxRmsError());
}
