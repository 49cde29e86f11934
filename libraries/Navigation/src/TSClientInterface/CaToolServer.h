#pragma once

#include <TSBase/Export.h>
#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/Vector3d.h>

#include <string>

/// One tool of the server's tool set, as CaToolServer::getToolInfo() delivers it.
struct CaToolInfo
{
    std::string name;
    unsigned char type = 0; ///< a CaToolType
    int port = -1;          ///< the tool's slot in the server's list
    int numberOfImags = 0;  ///< 0 to 8; users take a number outside that range as its nearest end
    int numberOfReals = 0;  ///< 0 to 32; likewise
    Vector3d reals[32];     ///< real markers in the tool's own frame, millimetres
    Vector3d imags[8];      ///< imaginary points in the tool's own frame, millimetres
    int identifier = 0;
    std::string ownerName;
    int calibrationStartIndex = -1;
    int calibrationDate = 0;
    int numberOfPlugs = 0;
};

/// A client's connection to a tool server. A client-interface module implements it; CaToolList obtains it from the
/// module's CaToolServerFactory.
///
/// Results: every operation that returns `int` returns a status code, see Status and getMessage(); negative ones are
/// errors. TOOL_SET_CHANGED asks the caller to read the tool set again.
/// Units and frame: millimetres, in the frame of the reference that setReference() chose, the camera's at first.
/// Texts: names are null-terminated and belong to the caller.
/// Thread: CaToolList asks from its own thread, CaTool from whatever thread updates it, so an implementation guards
/// each operation. A sequence (a start operation and its fetches) belongs to one thread at a time.
class TBR_NAVIGATION_EXPORT CaToolServer
{
public:
    /// The status codes, in words.
    enum Status : int
    {
        NO_NORMAL_VECTORS = -23,
        INITIALIZATION_ERROR = -22,
        TOO_FAR_FROM_REFERENCE = -21,
        CALIBRATION_ERROR = -20,
        TOO_MANY_CLIENTS = -19,
        WRONG_REQUEST = -18,
        SOCKET_IN_USE = -17,
        MISSING_PLUGS = -16,
        TOOL_INFO_UNREADABLE = -15,
        CAMERA_ERROR = -14,
        STROBER_ERROR = -13,
        COMPORT_ERROR = -12,
        UNKNOWN_TOOL = -11,
        TOOL_NOT_IN_VIEW = -10,
        REFERENCE_NOT_IN_VIEW = -9,
        UNEXPECTED_PACKET = -8,
        REMOTE_ERROR = -7,
        TOOL_SET_CHANGED = -6,
        CONNECTION_ERROR = -5,
        INCOMPATIBLE_PROTOCOL = -4,
        UNKNOWN_HOSTNAME = -3,
        SERVER_TIMEOUT = -2,
        NO_CONNECTION = -1,
        OK = 0,
        WAITING_FOR_PACKETS = 1, ///< from a fetch of a sequence: one tool was delivered
        FOOTSWITCH_PRESSED = 2,
        FOOTSWITCH_RELEASED = 3
    };

    CaToolServer();
    /// Ends the connection.
    virtual ~CaToolServer();

    CaToolServer(const CaToolServer&) = delete;
    CaToolServer& operator=(const CaToolServer&) = delete;

    /// The message for a status code. A code outside -23 to 3 gives "Unknown message for this status" and an "ERROR"
    /// log line with the code plus 23. The text lives as long as the library. Any thread.
    static const char* getMessage(int status);

    // The order of the operations below is part of the contract with the modules.

    /// Where connect() led to: the host as given, and the port. Empty and 0 before.
    virtual const char* getHostName() const = 0;
    virtual int getPortNumber() const = 0;
    /// How long an operation waits for its answer, in milliseconds.
    virtual void setTimeout(long ms) = 0;

    /// Connects to where `other` is connected.
    virtual int connect(CaToolServer* other) = 0;
    virtual int connect(const char* host, int port) = 0;
    virtual int disconnect() = 0;

    /// The number of tools in the server's tool set, which also starts the sequence of getToolInfo(); a negative value
    /// is a status and starts none.
    virtual int getNumberOfTools() = 0;
    /// Fetches the next tool of the set. WAITING_FOR_PACKETS: `info` is filled. MISSING_PLUGS and TOOL_INFO_UNREADABLE:
    /// that tool is passed over, the next one can be fetched. Anything else ends the sequence.
    virtual int getToolInfo(CaToolInfo& info) = 0;

    /// Starts the sequence of nextImags().
    virtual int startImags() = 0;
    /// Fetches the next tool's measured imaginary points: its name, up to 8 points and their number.
    /// WAITING_FOR_PACKETS: they are filled in. TOOL_NOT_IN_VIEW: that tool has none, the next one can be fetched.
    /// Anything else ends the sequence.
    virtual int nextImags(std::string& name, Vector3d* imags, int* count) = 0;
    /// Starts the sequence of nextReals().
    virtual int startReals() = 0;
    /// As nextImags(), for up to 32 measured real markers.
    virtual int nextReals(std::string& name, Vector3d* reals, int* count) = 0;

    /// One tool's measured real markers (up to 32), their number and the RMS error of the fit.
    virtual int getReals(const char* name, Vector3d* reals, int* count, float* rms) = 0;
    /// Code and text of the last error packet; 0 and empty when there was none.
    virtual int getLastRemoteError(std::string& text) = 0;
    /// One tool's measured imaginary points (up to 8), their number and the RMS error of the fit.
    virtual int getImags(const char* name, Vector3d* imags, int* count, float* rms) = 0;
    virtual long getTimeout() const = 0;

    /// Makes the named tool the frame of reference; "CAM" is the camera.
    virtual int setReference(const char* name) = 0;
    /// Which types getNearestTool() may choose: 256 flags, one for each type code.
    virtual int setNearestTypes(const bool* typeMask) = 0;
    /// The tool nearest to the camera: its name, its measured imaginary points (up to 8) and their number.
    virtual int getNearestTool(std::string& name, Vector3d* imags, int* count) = 0;

    /// Starts the sequence of nextTransform().
    virtual int startTransforms(bool notify) = 0;
    /// The same, but the server answers only when this switch is in this state.
    virtual int startTransformsOnSwitch(int switchId, bool pressed) = 0;
    /// As nextImags(), for the pose: rotation and translation.
    virtual int nextTransform(std::string& name, Matrix3x3& rotation, Vector3d& translation) = 0;
    /// One tool's pose and the RMS error of the fit.
    virtual int getTransform(const char* name, Matrix3x3& rotation, Vector3d& translation, float* rms) = 0;

    virtual int getProtocolVersion() const = 0;
    /// Calibrates the named tool with these imaginary points, in its own frame.
    virtual int calibrate(const char* name, const Vector3d* imags, int numberOfImags) = 0;
    /// The footswitch: its identifier and whether it is pressed.
    virtual int getSwitch(int* switchId, bool* pressed) = 0;
    /// Makes a blocked operation return CONNECTION_ERROR. From any thread.
    virtual void cancel() = 0;
    virtual int getStatus() = 0;
    virtual std::string getServerDescription() const = 0;

    /// Writes and reads the normal vectors of the named tool's markers (up to 32) and its visibility limits, see
    /// CaNormalInfo.
    virtual int writeNormalInfo(const char* name, const Vector3d* normals, int count, int markerAngleLimit,
                                int minMarkerVisible, double max3d, double maxRms) = 0;
    virtual int readNormalInfo(const char* name, Vector3d* normals, int* count, int* markerAngleLimit,
                               int* minMarkerVisible, double* max3d, double* maxRms) = 0;

    /// Describes a tool to the server.
    virtual int initialize(int port, const char* name, unsigned char type, const Vector3d* reals, int numberOfReals,
                           const Vector3d* imags, int numberOfImags, int identifier, const char* ownerName,
                           int calibrationStartIndex, int calibrationDate, int numberOfPlugs) = 0;
    virtual bool isConnected() const = 0;
};

/// What a client-interface module exports: TBR_EXPORT_FACTORY(CaToolServerFactory, MyFactory). Coming and going, it
/// writes a line to standard output.
class TBR_NAVIGATION_EXPORT CaToolServerFactory
{
public:
    CaToolServerFactory();
    CaToolServerFactory(const CaToolServerFactory& other);
    CaToolServerFactory& operator=(const CaToolServerFactory& other);
    virtual ~CaToolServerFactory();

    /// A new, unconnected CaToolServer, which the caller owns.
    virtual CaToolServer* createInstance() = 0;
};
