#pragma once

#include <TSClientInterface/CaToolServer.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <mutex>
#include <sstream>
#include <vector>

/// Answers in the order in which they will be given; the last one is repeated.
template <class Answer>
class Script
{
public:
    Script() : m_Answers(1) {}

    void operator=(const std::vector<Answer>& answers) { m_Answers.assign(answers.begin(), answers.end()); }

    Answer next()
    {
        const Answer answer = m_Answers.front();
        if (m_Answers.size() > 1)
            m_Answers.pop_front();
        return answer;
    }

private:
    std::deque<Answer> m_Answers;
};

/// A tool server without a connection: each operation notes that it was called and answers from its script, which says
/// -1 ("No connection with toolserver") until a test writes it. Several threads may ask at the same time; scripts are
/// written before.
class ScriptedToolServer : public CaToolServer
{
public:
    struct Points
    {
        int status = NO_CONNECTION;
        std::string name;
        std::vector<Vector3d> points;
        int count = 0; // what the server claims
        float rms = -1.0F;
    };

    struct Pose
    {
        int status = NO_CONNECTION;
        std::string name;
        Matrix3x3 rotation;
        Vector3d translation;
        float rms = -1.0F;
    };

    struct ToolInfo
    {
        int status = NO_CONNECTION;
        CaToolInfo info;
    };

    struct Normals
    {
        int status = NO_CONNECTION;
        std::vector<Vector3d> normals;
        int markerAngleLimit = 0;
        int minMarkerVisible = 0;
        double max3d = 0.0;
        double maxRms = 0.0;
    };

    /// A status that is scripted; -1 by default.
    struct Status
    {
        Status(int value_ = NO_CONNECTION) : value(value_) {}
        int value;
    };

    // Replies with as many points as there are.
    static Points points(int status, const std::string& name, const std::vector<Vector3d>& points, float rms = 0.5F)
    {
        return {status, name, points, static_cast<int>(points.size()), rms};
    }
    static Points points(int status) { return points(status, "", {}); }
    static Pose pose(int status, const std::string& name = "", const Matrix3x3& rotation = {},
                     const Vector3d& translation = {}, float rms = 0.5F)
    {
        return {status, name, rotation, translation, rms};
    }
    static ToolInfo tool(const std::string& name, const std::vector<Vector3d>& reals,
                         const std::vector<Vector3d>& imags, int port = 0, unsigned char type = 0)
    {
        ToolInfo reply;
        reply.status = WAITING_FOR_PACKETS;
        reply.info.name = name;
        reply.info.type = type;
        reply.info.port = port;
        reply.info.numberOfReals = static_cast<int>(reals.size());
        reply.info.numberOfImags = static_cast<int>(imags.size());
        std::copy(reals.begin(), reals.end(), reply.info.reals);
        std::copy(imags.begin(), imags.end(), reply.info.imags);
        return reply;
    }
    static ToolInfo tool(int status)
    {
        ToolInfo reply;
        reply.status = status;
        return reply;
    }

    Script<Status> connecting, disconnecting, numberOfTools, reference, nearestTypes, calibration, status,
        normalsWritten, initialization;
    Script<ToolInfo> toolInfos;
    Script<Points> nextImagPoints, nextRealPoints, realPoints, imagPoints, nearest;
    Script<Pose> nextPoses, poses;
    Script<Normals> normals;
    bool connected = false;

    /// Called, without a lock, whenever an operation begins; its argument is what calls() tells.
    std::function<void(const std::string& call)> onCall;
    /// Called when the server dies.
    std::function<void()> onDestruction;

    ~ScriptedToolServer() override
    {
        if (onDestruction)
            onDestruction();
    }

    /// The operations called so far, with their arguments.
    std::vector<std::string> calls() const
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Calls;
    }
    void forgetCalls()
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Calls.clear();
    }
    int count(const std::string& call) const
    {
        const std::vector<std::string> all = calls();
        return static_cast<int>(std::count(all.begin(), all.end(), call));
    }

    const char* getHostName() const override { return "scripted"; }
    int getPortNumber() const override { return 0; }
    void setTimeout(long) override {}
    int connect(CaToolServer* other) override
    {
        return answer(connecting, "connect", other == this ? "itself" : "other");
    }
    int connect(const char* host, int port) override { return answer(connecting, "connect", host, port); }
    int disconnect() override { return answer(disconnecting, "disconnect"); }
    int getNumberOfTools() override { return answer(numberOfTools, "getNumberOfTools"); }
    int getToolInfo(CaToolInfo& info) override
    {
        const ToolInfo reply = next(toolInfos, "getToolInfo");
        info = reply.info;
        return reply.status;
    }
    int startImags() override { return note("startImags"); }
    int nextImags(std::string& name, Vector3d* imags, int* count) override
    {
        return deliver(next(nextImagPoints, "nextImags"), 8, &name, imags, count);
    }
    int startReals() override { return note("startReals"); }
    int nextReals(std::string& name, Vector3d* reals, int* count) override
    {
        return deliver(next(nextRealPoints, "nextReals"), 32, &name, reals, count);
    }
    int getReals(const char* name, Vector3d* reals, int* count, float* rms) override
    {
        return deliver(next(realPoints, "getReals", name), 32, nullptr, reals, count, rms);
    }
    int getLastRemoteError(std::string&) override { return 0; }
    int getImags(const char* name, Vector3d* imags, int* count, float* rms) override
    {
        return deliver(next(imagPoints, "getImags", name), 8, nullptr, imags, count, rms);
    }
    long getTimeout() const override { return 0; }
    int setReference(const char* name) override { return answer(reference, "setReference", name); }
    int setNearestTypes(const bool* typeMask) override
    {
        std::ostringstream types;
        for (int type = 0; type < 256; ++type)
            if (typeMask[type])
                types << type << " ";
        return answer(nearestTypes, "setNearestTypes", types.str());
    }
    int getNearestTool(std::string& name, Vector3d* imags, int* count) override
    {
        return deliver(next(nearest, "getNearestTool"), 8, &name, imags, count);
    }
    int startTransforms(bool notify) override { return note("startTransforms", notify ? "notify" : "quiet"); }
    int startTransformsOnSwitch(int, bool) override { return NO_CONNECTION; }
    int nextTransform(std::string& name, Matrix3x3& rotation, Vector3d& translation) override
    {
        const Pose reply = next(nextPoses, "nextTransform");
        name = reply.name;
        rotation = reply.rotation;
        translation = reply.translation;
        return reply.status;
    }
    int getTransform(const char* name, Matrix3x3& rotation, Vector3d& translation, float* rms) override
    {
        const Pose reply = next(poses, "getTransform", name);
        rotation = reply.rotation;
        translation = reply.translation;
        *rms = reply.rms;
        return reply.status;
    }
    int getProtocolVersion() const override { return 0; }
    int calibrate(const char* name, const Vector3d* imags, int numberOfImags) override
    {
        return answer(calibration, "calibrate", name, text(imags, numberOfImags));
    }
    int getSwitch(int*, bool*) override { return NO_CONNECTION; }
    void cancel() override {}
    int getStatus() override { return answer(status, "getStatus"); }
    std::string getServerDescription() const override { return {}; }
    int writeNormalInfo(const char* name, const Vector3d* vectors, int count, int markerAngleLimit,
                        int minMarkerVisible, double max3d, double maxRms) override
    {
        return answer(normalsWritten, "writeNormalInfo", name, text(vectors, count), markerAngleLimit, minMarkerVisible,
                      max3d, maxRms);
    }
    int readNormalInfo(const char* name, Vector3d* vectors, int* count, int* markerAngleLimit, int* minMarkerVisible,
                       double* max3d, double* maxRms) override
    {
        const Normals reply = next(normals, "readNormalInfo", name);
        std::copy_n(reply.normals.begin(), std::min<std::size_t>(reply.normals.size(), 32), vectors);
        *count = static_cast<int>(reply.normals.size());
        *markerAngleLimit = reply.markerAngleLimit;
        *minMarkerVisible = reply.minMarkerVisible;
        *max3d = reply.max3d;
        *maxRms = reply.maxRms;
        return reply.status;
    }
    int initialize(int port, const char* name, unsigned char type, const Vector3d* reals, int numberOfReals,
                   const Vector3d* imags, int numberOfImags, int identifier, const char* ownerName,
                   int calibrationStartIndex, int calibrationDate, int numberOfPlugs) override
    {
        return answer(initialization, "initialize", port, name, static_cast<int>(type), text(reals, numberOfReals),
                      text(imags, numberOfImags), identifier, ownerName, calibrationStartIndex, calibrationDate,
                      numberOfPlugs);
    }
    bool isConnected() const override { return connected; }

private:
    static std::string text(const Vector3d* points, int number)
    {
        std::ostringstream stream;
        for (int i = 0; i < number; ++i)
            stream << "(" << points[i].x << "," << points[i].y << "," << points[i].z << ")";
        return stream.str();
    }

    static int deliver(const Points& reply, std::size_t room, std::string* name, Vector3d* points, int* count,
                       float* rms = nullptr)
    {
        std::copy_n(reply.points.begin(), std::min(reply.points.size(), room), points);
        *count = reply.count;
        if (name)
            *name = reply.name;
        if (rms)
            *rms = reply.rms;
        return reply.status;
    }

    template <class... Arguments>
    int note(const char* operation, const Arguments&... arguments)
    {
        std::ostringstream call;
        call << operation;
        ((call << " " << arguments), ...);
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Calls.push_back(call.str());
        }
        if (onCall)
            onCall(call.str());
        return OK;
    }

    template <class Answer, class... Arguments>
    Answer next(Script<Answer>& script, const char* operation, const Arguments&... arguments)
    {
        note(operation, arguments...);
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return script.next();
    }

    template <class... Arguments>
    int answer(Script<Status>& script, const char* operation, const Arguments&... arguments)
    {
        return next(script, operation, arguments...).value;
    }

    mutable std::mutex m_Mutex; // guards m_Calls and the scripts' progress
    std::vector<std::string> m_Calls;
};
