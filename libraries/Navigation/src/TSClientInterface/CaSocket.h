#pragma once

#include <TSBase/Export.h>

#include <QObject>

#include <atomic>
#include <cstdint>

namespace tbr
{
namespace platform
{
struct SocketAddress;
}
} // namespace tbr

/// The common base of all sockets: one IPv4 descriptor, its modes and options, and the byte-order conversions by which
/// packets are written and read.
///
/// Ownership: the socket owns its descriptor and closes it when it is destroyed; the descriptor never changes before.
/// Thread: one thread at a time uses a socket; only shutdown() may be called from another one meanwhile. Sockets may be
/// created and destroyed on several threads as long as the process's first and last one are not among them (the
/// system's sockets are started with the first and ended with the last). Errors: no constructor fails visibly; a socket
/// that could not be made has a negative descriptor, which every use of it reports. Details go to the log at category
/// "ERROR". Results are those of SocketResult.h.
class TBR_NAVIGATION_EXPORT CaSocket : public QObject
{
public:
    /// Closes the descriptor; the last socket of the process ends the system's sockets.
    ~CaSocket() override;

    /// Receives one packet or datagram; the derived class says how.
    virtual int read(void* buffer, int* size, long timeoutMs) = 0;
    /// Sends `size` bytes as one packet or datagram.
    virtual int write(const void* buffer, int size) = 0;

    bool isDataGramSocket() const { return m_IsDataGram; }
    /// Returns the mode last set, and writes it to standard output.
    bool isInBlockingMode() const;
    /// In blocking mode, sending and receiving wait until they can proceed; otherwise they fail when they would wait.
    void setBlockingMode(bool blocking);

    /// Sizes of the system's buffers in bytes. Returns false, and logs, when the system refuses.
    bool setReadBufferSize(int bytes);
    bool setWriteBufferSize(int bytes);

    /// Chooses the conversions: `swap` lets them reverse the byte order as the table of each pointer below says,
    /// otherwise they all return their argument.
    void enableByteSwapping(bool swap);

    /// Whether a read would find something: a byte, a datagram, a peer that closed, or an error. Never waits. An error
    /// of the look itself, as on a closed descriptor, counts as ready.
    bool isReadyToRead() const;

protected:
    /// Adopts an open descriptor, as accepting a connection gives it.
    CaSocket(int descriptor, bool blocking);
    /// Makes a new datagram (UDP) or stream (TCP) socket.
    CaSocket(bool dataGram, bool blocking);

    /// Whether the conversions below change anything.
    bool isByteSwapping() const { return sockhtonf == &sockhtonfDO; }

    int getDescriptor() const { return m_Descriptor; }
    /// The number of sockets alive in this process.
    static int getNumberOfSockets();

    /// Ends both directions, so that a thread blocked in receiving, sending or accepting here returns. The descriptor
    /// stays valid. May be called from any thread while the socket exists.
    void shutdown();

    /// Waits until there is something to read, at most `timeoutMs` milliseconds; a negative limit waits without end.
    /// Returns 0, -2 when time is up, or -6 (logged) on failure.
    int waitForInput(long timeoutMs) const;
    /// Binds to a port of the system's choice and connects to the host's first address (for a datagram socket: fixes
    /// the peer). Returns 0, -3 or -4; failures are logged.
    int connectToHost(const char* hostName, int portNumber);
    /// Binds to a local address. Returns 0 or -3 (logged).
    int bindTo(const tbr::platform::SocketAddress& address);
    /// The local port, -1 while the socket is not bound.
    int getLocalPort() const;

    // The conversions in use. Host to network, then network to host, of a double, a float, a 16-bit and a 32-bit
    // integer. enableByteSwapping() must be called before their results mean anything; until then they return their
    // argument, so that an answer to a client that never agreed on a byte order is sent as it stands.
    //
    // With swapping on, sockntoh* reverse the bytes of the value. So do sockhtons and sockhtonl, but sockhtond and
    // sockhtonf deliberately do something else: they take the reversed bytes as an unsigned integer and return the
    // number it stands for. Clients rely on it.
    double (*sockhtond)(double) = &returnArgument<double>;
    double (*sockntohd)(double) = &returnArgument<double>;
    float (*sockhtonf)(float) = &returnArgument<float>;
    float (*sockntohf)(float) = &returnArgument<float>;
    short (*sockhtons)(short) = &sockhtonsDONTDO;
    short (*sockntohs)(short) = &sockhtonsDONTDO;
    std::int32_t (*sockhtonl)(std::int32_t) = &sockhtonlDONTDO;
    std::int32_t (*sockntohl)(std::int32_t) = &sockhtonlDONTDO;

    int m_Descriptor = -1; ///< -1 when there is none
    bool m_IsDataGram = false;
    bool m_Blocking = true; ///< the mode last set

private:
    template <class Value>
    static Value returnArgument(Value value)
    {
        return value;
    }
    static double sockhtondDO(double value);
    static double sockntohdDO(double value);
    static float sockhtonfDO(float value);
    static float sockntohfDO(float value);
    static short sockhtonsDO(short value);
    static short sockntohsDO(short value);
    static std::int32_t sockhtonlDO(std::int32_t value);
    static std::int32_t sockntohlDO(std::int32_t value);
    static short sockhtonsDONTDO(short value);
    static std::int32_t sockhtonlDONTDO(std::int32_t value);

    void allowAddressReuse();

    static std::atomic<int> m_SocketsNUmber; ///< sockets alive in the process; the capital U is part of the name
};
