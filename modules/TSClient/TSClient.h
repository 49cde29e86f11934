#pragma once

#include "PacketExchange.h"

#include <TSClientInterface/CaToolServer.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <string>

/// The client's end of the tracking protocol over a stream connection.
///
/// unconnected --connect()--> connected --disconnect(), loss, a packet that does not belong there--> unconnected
///
/// An operation waits for its answer at most for the time-out (1000 ms unless set; 0 only looks), however slowly bytes
/// come; docs/client.md has a table of those that take several. A time-out leaves the connection usable: an answer that
/// comes too late is dropped, and no request is sent before it has come. After a loss every operation returns
/// NO_CONNECTION until connect() is called again.
///
/// A pose or an imaginary point that is not a finite number is no measurement: its tool is not in view. A description
/// with such a point, or with a count that no record can hold, is unreadable.
///
/// Thread: every operation may be called from any thread; they take turns. cancel() does not wait for its turn. A
/// sequence goes on undisturbed when other operations come in between, except the start of another sequence (which
/// getNumberOfTools() is, too): its fetches return UNEXPECTED_PACKET then.
class TSClient : public CaToolServer
{
public:
    TSClient();
    ~TSClient() override;

    /// The text is valid until the next connect().
    const char* getHostName() const override;
    int getPortNumber() const override;
    void setTimeout(long ms) override;
    int connect(CaToolServer* other) override;
    int connect(const char* host, int port) override;
    int disconnect() override;
    int getNumberOfTools() override;
    int getToolInfo(CaToolInfo& info) override;
    int startImags() override;
    int nextImags(std::string& name, Vector3d* imags, int* count) override;
    int startReals() override;
    int nextReals(std::string& name, Vector3d* reals, int* count) override;
    int getReals(const char* name, Vector3d* reals, int* count, float* rms) override;
    int getLastRemoteError(std::string& text) override;
    int getImags(const char* name, Vector3d* imags, int* count, float* rms) override;
    long getTimeout() const override;
    int setReference(const char* name) override;
    int setNearestTypes(const bool* typeMask) override;
    int getNearestTool(std::string& name, Vector3d* imags, int* count) override;
    int startTransforms(bool notify) override;
    int startTransformsOnSwitch(int switchId, bool pressed) override;
    int nextTransform(std::string& name, Matrix3x3& rotation, Vector3d& translation) override;
    int getTransform(const char* name, Matrix3x3& rotation, Vector3d& translation, float* rms) override;
    int getProtocolVersion() const override;
    int calibrate(const char* name, const Vector3d* imags, int numberOfImags) override;
    int getSwitch(int* switchId, bool* pressed) override;
    void cancel() override;
    int getStatus() override;
    std::string getServerDescription() const override;
    int writeNormalInfo(const char* name, const Vector3d* normals, int count, int markerAngleLimit,
                        int minMarkerVisible, double max3d, double maxRms) override;
    int readNormalInfo(const char* name, Vector3d* normals, int* count, int* markerAngleLimit, int* minMarkerVisible,
                       double* max3d, double* maxRms) override;
    int initialize(int port, const char* name, unsigned char type, const Vector3d* reals, int numberOfReals,
                   const Vector3d* imags, int numberOfImags, int identifier, const char* ownerName,
                   int calibrationStartIndex, int calibrationDate, int numberOfPlugs) override;
    bool isConnected() const override;

private:
    using Lock = std::lock_guard<std::mutex>;

    void setAddress(const std::string& host, int port);
    int requestNamed(AllPacketType& packet, PacketKind kind, const char* name, int size);
    int requestBare(PacketKind kind);
    int startBare(PacketKind kind);
    template <class Record>
    int requestPoints(PacketKind kind, const char* name, Vector3d* points, int room, int* count, float* rms);
    template <class Record>
    int nextPoints(PacketKind kind, std::string& name, Vector3d* points, int room, int* count);

    mutable std::mutex m_Mutex; // guards all below, and is held while an answer is waited for; cancel() does without
    PacketExchange m_Exchange;
    std::deque<AllPacketType> m_ToolInfos; // of the last getNumberOfTools(), not fetched yet

    mutable std::mutex m_AddressMutex; // guards m_HostName; nothing waits while it is held
    std::string m_HostName;
    std::atomic<int> m_PortNumber{0};
};
