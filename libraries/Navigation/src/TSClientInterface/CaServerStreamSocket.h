#pragma once

#include <TSClientInterface/CaStreamSocket.h>

#include <string>

/// The server's end of streams of packets: either the listening socket, which hands out the descriptors of connections,
/// or the socket of one such connection.
///
/// Thread: waitForClientRequest() blocks, and may do so on a thread other than the one that calls the rest.
class TBR_NAVIGATION_EXPORT CaServerStreamSocket : public CaStreamSocket
{
public:
    /// A new socket in blocking mode, to listen with.
    CaServerStreamSocket();
    /// The socket of a connection that waitForClientRequest() has accepted: open, in blocking mode, and small packets
    /// leave at once. Owns the descriptor.
    explicit CaServerStreamSocket(int descriptor);

    /// Binds to a port on every address of this machine. Returns 0, or -3 when it is open already or the port cannot be
    /// had.
    int open(int portNumber);
    /// The same on one address only, given as four decimal numbers with dots.
    int open(const std::string& bindAddress, int portNumber);
    /// The port that the system reports as bound, -1 when there is none; tells what it chose for port 0.
    int getPortNumber() const;

    /// Lets clients connect from now on, before the first waitForClientRequest(); they wait until they are accepted.
    /// Returns 0, or -3 when the socket is not bound.
    int listen();
    /// How many clients the system lets wait for listen() and waitForClientRequest() from the next call on: 5 unless
    /// told otherwise. It makes others try again later.
    void setBacklog(int clients) { m_Backlog = clients; }
    /// Listens (anew with every call) and blocks until a client connects. Returns 0 with the connection's descriptor,
    /// which the caller then owns, and the client's address as four decimal numbers with dots; -3 on failure.
    int waitForClientRequest(int& socket, std::string& clientName);
    /// The same through pointers.
    int waitForClientRequest2(int* socket, std::string* clientName);

private:
    int openAt(const tbr::platform::SocketAddress& address);
    void sendAtOnce();

    int m_Backlog = 5;
};
