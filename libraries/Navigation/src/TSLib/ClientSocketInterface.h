#pragma once

#include <TSBase/Toollist.h>
#include <TSClientInterface/CaServerStreamSocket.h>
#include <TSLib/Packets.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <vector>

class QThread;

/// One connected client of the tool server: its socket, its state, and the thread that answers its requests.
///
/// Unconnected (-53) -> connected (0) by a good connect request, or connected with error (17) by one of another
/// protocol version, which is served all the same. The session ends when its client closes the connection or asks to
/// leave; connectionTerminated() tells the owner, who then deletes it.
///
/// Thread: made and deleted by its owner's thread; everything else runs on the session's own thread, except
/// getSocketNumber(), hasTerminated() and requestStop(), which may be called from any thread. The destructor wakes the
/// session's thread out of any wait and waits for it.
///
/// Answers to a request are put together while the tools are kept alive by a Toollist::Reading, and sent after that: a
/// client that does not read keeps nobody waiting but its own session. Requests that arrived together are answered
/// together: answers are sent as soon as no complete request is left of what has been received, and before any request
/// whose answer takes the camera module.
class TBR_NAVIGATION_EXPORT ClientSocketInterface : public CaServerStreamSocket
{
    Q_OBJECT

public:
    /// Serves the client on an accepted `socket`, which the session closes at its end. `toollist` is borrowed and must
    /// outlive the session.
    ClientSocketInterface(int socket, Toollist* toollist);
    ~ClientSocketInterface() override;

    /// Keeps a function and its argument for the owner; the session itself never calls it.
    void addExitCallback(void (*callback)(ClientSocketInterface*, void*), void* data);

    /// The descriptor given to the constructor.
    int getSocketNumber() const;

    /// True from shortly before the first connectionTerminated(): for an owner that connects to the signal late.
    bool hasTerminated() const;

    /// Makes the session's thread come to its end, whatever it is blocked in; does not wait. No connectionTerminated()
    /// follows any more.
    void requestStop();

    /// After requestStop(): waits for the session's thread at most for the time given. True when it has ended. Only a
    /// camera module that does not return holds it up.
    bool waitForEnd(std::chrono::milliseconds limit);

public slots:
    /// Reads and answers requests until the client has gone. Started by the session's thread.
    void evaluateClientMessage();

signals:
    /// The client asked to leave, or has gone: once for each, so possibly twice.
    void connectionTerminated();

private:
    enum class Guard
    {
        NONE,            ///< served before a connect request, too
        NEEDS_CONNECTION ///< answered with an error before a connect request
    };
    enum class Duration
    {
        SHORT,       ///< takes what the tools have in memory
        MODULES_TIME ///< takes as long as the camera module, or the footswitch, likes
    };
    struct Request
    {
        void (ClientSocketInterface::*handler)(AllPacketType&);
        Guard guard;
        Duration duration;
    };
    struct NearestTool
    {
        const Tool* tool = nullptr;    // null when no tool is near enough
        packets::TransformRecord pose; // in the frame of reference
        const Tool* last = nullptr;    // the last tool in the list
    };
    using Requests = std::array<Request, 256>;
    using Reading = Toollist::Reading;

    static Requests makeRequests();
    static const Requests ourRequests;

    bool readRequest(AllPacketType& packet, int& status);
    void logReadFailure(int status) const;
    bool answerRequest(AllPacketType& packet);
    void handle(const Request& request, AllPacketType& packet);
    bool handleNOTConnected(AllPacketType& packet);

    void handlePConnect(AllPacketType& packet);
    void handlePStatus(AllPacketType& packet);
    void handlePToolcheck(AllPacketType& packet);
    void handlePFOR(AllPacketType& packet);
    void handlePMarker(AllPacketType& packet);
    void handlePAllMarker(AllPacketType& packet);
    void handlePImaginary(AllPacketType& packet);
    void handlePAllImaginary(AllPacketType& packet);
    void handlePRigtrans(AllPacketType& packet);
    void handlePAllRigtrans(AllPacketType& packet);
    void handlePNearestTool(AllPacketType& packet);
    void handlePSwitch(AllPacketType& packet);
    void handlePAllRigtransOnSwitch(AllPacketType& packet);
    void handlePAddNormalVectors(AllPacketType& packet);
    void handlePCalibrate(AllPacketType& packet);
    void handlePToolInit(AllPacketType& packet);
    void handlePAllowedNearestTool(AllPacketType& packet);
    void handlePGetNormalVector(AllPacketType& packet);
    void handlePExit(AllPacketType& packet);
    void handlePUnknown(AllPacketType& packet);
    void handlePError(AllPacketType& packet, int code, const std::string& text);
    void handlePError(AllPacketType& packet, int code, const char* text);

    WireOrder wireOrder() const;
    template <class Record>
    void answer(AllPacketType& packet, PacketKind kind, Record& values);
    void acknowledge(AllPacketType& packet);
    void enqueue(const AllPacketType& packet, int size);
    void sendAnswers();
    template <class PerTool>
    void forEachTool(PerTool perTool);

    bool isToolSetChanged(AllPacketType& packet);
    bool getReferencePose(AllPacketType& packet, packets::TransformRecord& pose);
    Tool* locateTool(AllPacketType& packet, const Reading& reading, packets::TransformRecord& pose);
    void changeCalibration(AllPacketType& packet, bool (ClientSocketInterface::*change)(AllPacketType&, Tool&));
    bool setImaginaryMarkers(AllPacketType& packet, Tool& tool);
    bool setNormalVectors(AllPacketType& packet, Tool& tool);
    NearestTool findNearestTool(const Reading& reading, const packets::TransformRecord& reference) const;
    void answerNearestTool(AllPacketType& packet, const NearestTool& nearest);
    bool isAllowedAsNearest(int type) const;
    bool waitForSwitch(int id, bool isPressed);
    void terminate();

    static constexpr int CAMERA_FRAME = -1;

    QThread* m_Thread;
    int m_ConnectionState;
    const int m_SocketNumber;
    Toollist* const m_Toollist;
    int m_FrameOfReference; // slot of the reference tool, or CAMERA_FRAME
    int m_ToolChangeMark;
    std::array<char, 256> m_AllowedNearestTypes;
    void (*m_ExitCallback)(ClientSocketInterface*, void*);
    void* m_ExitCallbackData;

    std::vector<char> m_Answers; // framed answers that are not sent yet
    std::atomic<bool> m_StopRequested;
    std::atomic<bool> m_HasTerminated;
};
