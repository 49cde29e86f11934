#pragma once

#include <TSClientInterface/CaStreamConnection.h>
#include <TSLib/Packets.h>

#include <atomic>
#include <chrono>
#include <mutex>

/// The stream connection to a server: whole packets out, whole packets in.
///
/// Thread: one at a time, except interrupt(), which may be called from any thread.
class Connection : public CaStreamConnection
{
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Connects; an earlier connection is closed first. Returns a status code: OK, SERVER_TIMEOUT when the deadline
    /// passes before, UNKNOWN_HOSTNAME, or CONNECTION_ERROR. Looking up a host name may take longer than the deadline,
    /// as may a connection attempt on a system that cannot take one back.
    int open(const char* host, int port, Deadline deadline);
    int disconnect() override;

    /// OK, or CONNECTION_ERROR: also when the server has not taken the packet before the deadline, for what it has
    /// taken of it cannot be taken back.
    int send(const AllPacketType& packet, int size, Deadline deadline);
    /// OK, SERVER_TIMEOUT when the deadline passes (a packet that has partly arrived is completed by the next call), or
    /// CONNECTION_ERROR when the connection is lost. A packet that is here is received even after the deadline. `size`
    /// is the length of its frame; what the frame did not hold of `packet` is zero.
    int receive(AllPacketType& packet, int& size, Deadline deadline);
    /// Whether receive() would not have to look for further bytes.
    bool hasPacket() const;

    /// Lets a blocked open, send or receive return with CONNECTION_ERROR; the connection is lost then.
    void interrupt();

protected:
    CaClientStreamSocket* createSocket() override;

private:
    class Socket;

    void shutdown();

    std::mutex m_SocketMutex;      // guards the life of the socket against shutdown()
    Socket* m_OwnSocket = nullptr; // m_Socket with its own type
    std::atomic<bool> m_IsInterrupted{false};
};
