// A server's bytes against the protocol client: every operation, in any order, returns a status code and delivers no
// more than its caller has room for, and only numbers where it reports success.
#include "AnswerInput.h"

#include <TSClient/TSClient.h>

#include <cmath>

namespace
{

using fuzz::checkStatus;
using fuzz::require;

bool isFinite(const Vector3d& vector)
{
    return std::isfinite(vector.x) && std::isfinite(vector.y) && std::isfinite(vector.z);
}

bool isFinite(const Matrix3x3& matrix)
{
    for (int i = 0; i < 9; ++i)
        if (!std::isfinite(matrix[i / 3][i % 3]))
            return false;
    return true;
}

/// The buffers that the interface asks its callers for, exactly as large as it says.
struct Room
{
    std::vector<Vector3d> reals = std::vector<Vector3d>(32);
    std::vector<Vector3d> imags = std::vector<Vector3d>(8);
    std::string name;
    Matrix3x3 rotation;
    Vector3d translation;
    int count = 0;
    float rms = 0;
};

/// A client that is asked for one thing after the other.
class Course
{
public:
    explicit Course(fuzz::AnswerServer& server) : m_Server(server) {}

    void take(int operation)
    {
        using Operation = void (Course::*)();
        static constexpr Operation OPERATIONS[] = {
            &Course::connect,      &Course::listTools,       &Course::listImags,      &Course::listReals,
            &Course::listPoses,    &Course::getReals,        &Course::getImags,       &Course::getPose,
            &Course::setReference, &Course::setNearestTypes, &Course::getNearestTool, &Course::getSwitch,
            &Course::calibrate,    &Course::writeNormals,    &Course::readNormals,    &Course::initialize,
            &Course::getStatus,    &Course::disconnect,      &Course::listOnSwitch,   &Course::startOnly,
            &Course::fetchOnly,    &Course::cancel,          &Course::describe,       &Course::connectAgain,
            &Course::arrive,       &Course::arriveInPart,    &Course::changePatience, &Course::flood,
        };
        (this->*OPERATIONS[static_cast<std::size_t>(operation) % std::size(OPERATIONS)])();
    }

private:
    static constexpr int MOST_FETCHES = 64;

    void connect()
    {
        const int status = m_Client.connect("server", 2222);
        checkStatus(status);
        require(m_Client.isConnected() == (status == CaToolServer::OK), "a client is connected when it says so");
    }

    void arrive() { m_Server.release(true); }
    void arriveInPart() { m_Server.release(false); }

    void flood() { m_Server.flood(); }

    void changePatience()
    {
        m_Client.setTimeout(m_Client.getTimeout() == 0 ? 1000 : 0);
        require(m_Client.getTimeout() >= 0, "a time-out is a time");
    }

    void connectAgain() { checkStatus(m_Client.connect(&m_Client)); }

    void disconnect()
    {
        checkStatus(m_Client.disconnect());
        require(!m_Client.isConnected(), "a client that has disconnected is not connected");
    }

    void cancel() { m_Client.cancel(); }

    void describe()
    {
        std::string text;
        m_Client.getLastRemoteError(text);
        require(text.size() <= 256, "an error's text is not longer than its field");
        require(m_Client.getServerDescription().empty() == false, "a client describes its server");
        require(std::string(m_Client.getHostName()).size() <= 6, "a client knows where it is connected");
    }

    void listTools()
    {
        const int number = m_Client.getNumberOfTools();
        if (number < 0)
            return checkStatus(number);
        CaToolInfo info;
        int status = CaToolServer::OK;
        for (int i = 0; i <= number; ++i)
        {
            status = m_Client.getToolInfo(info);
            if (status == CaToolServer::TOOL_INFO_UNREADABLE)
                continue;
            checkStatus(status);
            if (status != CaToolServer::WAITING_FOR_PACKETS)
                break;
            require(info.numberOfReals >= 0 && info.numberOfReals <= 32, "a tool has at most 32 markers");
            require(info.numberOfImags >= 0 && info.numberOfImags <= 8, "a tool has at most 8 imaginary points");
            require(info.name.size() <= 32 && info.ownerName.size() <= 12, "a text is not longer than its field");
        }
        require(status != CaToolServer::WAITING_FOR_PACKETS, "there are as many tools as the client says");
    }

    void checkDelivery(int status, bool isDelivered, int most, const std::vector<Vector3d>* finitePoints)
    {
        checkStatus(status);
        if (!isDelivered)
            return;
        require(m_Room.count >= 0 && m_Room.count <= most, "no more points are delivered than there is room for");
        require(m_Room.name.size() <= 32, "a name is not longer than its field");
        for (int i = 0; finitePoints && i < m_Room.count; ++i)
            require(isFinite((*finitePoints)[static_cast<std::size_t>(i)]), "an imaginary point is a point");
    }

    void checkPose(int status, bool isDelivered)
    {
        checkStatus(status);
        require(!isDelivered || (isFinite(m_Room.rotation) && isFinite(m_Room.translation)), "a pose is a pose");
    }

    static bool goesOn(int status)
    {
        return status == CaToolServer::WAITING_FOR_PACKETS || status == CaToolServer::TOOL_NOT_IN_VIEW;
    }

    bool fetchImags()
    {
        const int status = m_Client.nextImags(m_Room.name, m_Room.imags.data(), &m_Room.count);
        checkDelivery(status, status == CaToolServer::WAITING_FOR_PACKETS, 8, &m_Room.imags);
        return goesOn(status);
    }

    bool fetchReals()
    {
        const int status = m_Client.nextReals(m_Room.name, m_Room.reals.data(), &m_Room.count);
        checkDelivery(status, status == CaToolServer::WAITING_FOR_PACKETS, 32, nullptr);
        return goesOn(status);
    }

    bool fetchPose()
    {
        const int status = m_Client.nextTransform(m_Room.name, m_Room.rotation, m_Room.translation);
        checkPose(status, status == CaToolServer::WAITING_FOR_PACKETS);
        return goesOn(status);
    }

    void fetchAll(bool (Course::*fetch)())
    {
        for (int i = 0; i < MOST_FETCHES && (this->*fetch)(); ++i)
            ;
    }

    void listImags()
    {
        checkStatus(m_Client.startImags());
        fetchAll(&Course::fetchImags);
    }
    void listReals()
    {
        checkStatus(m_Client.startReals());
        fetchAll(&Course::fetchReals);
    }
    void listPoses()
    {
        checkStatus(m_Client.startTransforms(true));
        fetchAll(&Course::fetchPose);
    }
    void listOnSwitch()
    {
        checkStatus(m_Client.startTransformsOnSwitch(1, true));
        fetchAll(&Course::fetchPose);
    }
    void startOnly() { checkStatus(m_Client.startReals()); }
    void fetchOnly()
    {
        fetchReals();
        fetchImags();
        fetchPose();
    }

    void getReals()
    {
        const int status = m_Client.getReals("Probe", m_Room.reals.data(), &m_Room.count, &m_Room.rms);
        checkDelivery(status, status == CaToolServer::OK, 32, nullptr);
    }
    void getImags()
    {
        const int status = m_Client.getImags("Probe", m_Room.imags.data(), &m_Room.count, &m_Room.rms);
        checkDelivery(status, status == CaToolServer::OK, 8, &m_Room.imags);
    }
    void getPose()
    {
        const int status = m_Client.getTransform("Probe", m_Room.rotation, m_Room.translation, &m_Room.rms);
        checkPose(status, status == CaToolServer::OK);
    }
    void getNearestTool()
    {
        const int status = m_Client.getNearestTool(m_Room.name, m_Room.imags.data(), &m_Room.count);
        checkDelivery(status, status == CaToolServer::OK, 8, &m_Room.imags);
    }
    void getSwitch()
    {
        bool isPressed = false;
        checkStatus(m_Client.getSwitch(&m_Room.count, &isPressed));
    }
    void getStatus() { checkStatus(m_Client.getStatus()); }
    void setReference() { checkStatus(m_Client.setReference("CAM")); }
    void setNearestTypes()
    {
        const bool types[256] = {true};
        checkStatus(m_Client.setNearestTypes(types));
    }
    void calibrate() { checkStatus(m_Client.calibrate("Probe", m_Room.imags.data(), 2)); }
    void writeNormals() { checkStatus(m_Client.writeNormalInfo("Probe", m_Room.reals.data(), 32, 60, 3, 0.5, 0.5)); }
    void readNormals()
    {
        int angleLimit = 0;
        int minMarkers = 0;
        double limits[2] = {};
        const int status = m_Client.readNormalInfo("Probe", m_Room.reals.data(), &m_Room.count, &angleLimit,
                                                   &minMarkers, &limits[0], &limits[1]);
        checkDelivery(status, status == CaToolServer::OK, 32, nullptr);
    }
    void initialize()
    {
        checkStatus(m_Client.initialize(1, "Probe", 14, m_Room.reals.data(), 32, m_Room.imags.data(), 8, 1, "Owner", 0,
                                        20240101, 1));
    }

    fuzz::AnswerServer& m_Server;
    TSClient m_Client;
    Room m_Room;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::runCourse<Course>(fuzz::AnswerInput(data, size));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
    return fuzz::mutateFrames(data, size, maxSize, seed, fuzz::AnswerInput::PREFIX_SIZE);
}
