#pragma once

#include "Exchange.h"

#include <vector>

/// One client of a server on this machine: sends requests and takes their answers, with as little work of its own as
/// possible. The same client measures every server.
///
/// Thread: one thread at a time; only abort() may be called from another one meanwhile.
/// Errors: what a server answers other than expected, and a connection that fails, are a std::runtime_error.
class LoadClient
{
public:
    /// Connects to the port and agrees on the protocol.
    explicit LoadClient(int port);
    ~LoadClient();
    LoadClient(LoadClient&& other) noexcept;
    LoadClient& operator=(LoadClient&&) = delete;

    /// Sends the request and waits for the whole answer, of which the kinds and sizes of the first and the last packet
    /// are checked.
    void perform(const Exchange& exchange);

    /// The bytes of the last answer, headers included.
    const char* answer() const { return m_Answer.data(); }

    /// Lets a perform() that waits fail.
    void abort();

private:
    void receiveAnswer(const Exchange& exchange);

    int m_Descriptor;
    std::vector<char> m_Answer;
};
