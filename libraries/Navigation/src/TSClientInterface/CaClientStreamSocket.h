#pragma once

#include <TSClientInterface/CaStreamSocket.h>

/// The connecting end of a stream of packets. new --open()--> connected --peer closes, or destroyed--> closed.
class TBR_NAVIGATION_EXPORT CaClientStreamSocket : public CaStreamSocket
{
public:
    /// A new socket in blocking mode, not connected.
    CaClientStreamSocket();

    /// Connects to the first address of a host name or dotted address; of the port the lower 16 bits count. Blocks
    /// until it is decided. Returns 0; -3 when it is open already or the connection failed; -4 when there is no such
    /// host (or `hostName` is null). The port is kept whatever the outcome.
    int open(const char* hostName, int portNumber);
    /// Does nothing but log, and returns 0: the connection ends when the object is destroyed.
    int close();
    /// The port last given to open(), -1 before.
    int getPortNumber() const { return m_PortNumber; }

protected:
    int m_PortNumber = -1;
};
