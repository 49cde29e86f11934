#pragma once

#include <TSBase/Export.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

/// What one wait for a client gave: a result of SocketResult.h and, with 0, the client's socket and address.
struct AcceptedClient
{
    int result = -1;
    int socket = -1;
    std::string address;
};

/// Hands the clients that one thread accepts on to another one, in order. The accepting thread can so go back to the
/// port at once: the system keeps only a few clients waiting there and lets the others try again after a second.
///
/// Any thread may call anything. Ownership of a client's socket goes with the client.
class TBR_NAVIGATION_EXPORT ClientQueue
{
public:
    /// Clients that wait to be taken; one that puts more waits itself. Few: each holds a descriptor.
    static constexpr std::size_t CAPACITY = 4;

    /// Appends a client, waiting for room. False when the queue is closed: the client stays the caller's.
    bool put(const AcceptedClient& client);
    /// Takes the next client, waiting for one at most for the time given. False when there is none.
    bool take(AcceptedClient& client, std::chrono::milliseconds limit);

    /// Lets put() fail from now on, and every wait return. What is in the queue can still be taken.
    void close();
    void open();
    bool isClosed() const;

private:
    mutable std::mutex m_Mutex; // guards all below
    std::condition_variable m_Changed;
    std::deque<AcceptedClient> m_Clients;
    bool m_IsClosed = false;
};
