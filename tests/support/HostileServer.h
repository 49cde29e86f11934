#pragma once

#include <support/Dripping.h>
#include <support/PlainSocket.h>
#include <support/WireBytes.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// What a tool server says about its two tools, for a test to spoil.
struct ServerWords
{
    std::string firstName = "Drill";
    std::string secondName = "Base";
    int reals = 3;
    int imags = 2; // of the first tool; the second has none
    std::string number = wire::sent(wire::Order::HOST, {1});
    std::string extra; // behind every packet

    /// The bytes that answer a request.
    std::string streamFor(const std::string& request) const
    {
        std::string stream;
        for (const std::string& each : answersTo(request))
            stream += wire::framed(each);
        return stream;
    }

    /// The packets that answer a request.
    std::vector<std::string> answersTo(const std::string& request) const
    {
        using namespace wire;
        switch (request.empty() ? 0 : static_cast<unsigned char>(request[0]))
        {
        case CONNECT:
            return {bytes("15000000 00000001 00000001")};
        case TOOL_CHECK:
            return {description(0, firstName, imags), description(1, secondName, 0), acknowledgement()};
        case MARKER:
            return {markers(ACKNOWLEDGE, firstName)};
        case ALL_MARKER:
            return {markers(ALL_MARKER, firstName), markers(ALL_MARKER, secondName), acknowledgement()};
        case IMAGINARY:
        case NEAREST:
            return {imaginaries(ACKNOWLEDGE, firstName, imags)};
        case ALL_IMAGINARY:
            return {imaginaries(ALL_IMAGINARY, firstName, imags), imaginaries(ALL_IMAGINARY, secondName, 0),
                    acknowledgement()};
        case POSE:
            return {pose(POSE, firstName)};
        case ALL_POSES:
        case POSES_ON_SWITCH:
            return {pose(ALL_POSES, firstName), pose(ALL_POSES, secondName), acknowledgement()};
        case SWITCH:
            return {packet(SWITCH) + integer(7) + integer(1) + extra};
        case GET_NORMALS:
            return {packet(ACKNOWLEDGE, firstName) + integer(reals) + numbers(96) + integer(60) + integer(3) +
                    numbers(2) + extra};
        default:
            return {acknowledgement() + extra};
        }
    }

private:
    static std::string integer(int value)
    {
        return wire::integer(wire::Order::HOST, static_cast<std::uint32_t>(value));
    }

    std::string numbers(int count) const
    {
        std::string result;
        for (int i = 0; i < count; ++i)
            result += number;
        return result;
    }
    std::string pose(unsigned char kind, const std::string& name) const
    {
        return wire::packet(kind, name) + numbers(13) + extra;
    }
    std::string markers(unsigned char kind, const std::string& name) const
    {
        return wire::packet(kind, name) + integer(reals) + numbers(97) + extra;
    }
    std::string imaginaries(unsigned char kind, const std::string& name, int count) const
    {
        return wire::packet(kind, name) + integer(count) + numbers(25) + extra;
    }
    std::string description(int slot, const std::string& name, int numberOfImags) const
    {
        return wire::packet(wire::TOOL_CHECK) + integer(slot) + wire::nameField(name) + integer(12) + integer(reals) +
               numbers(96) + integer(numberOfImags) + numbers(24) + integer(77) + wire::padded("Miller", 12) +
               integer(0) + integer(0) + integer(1) + extra;
    }
};

/// A tool server on a thread of its own that serves one client after the other, as well or as badly as it is told.
class HostileServer
{
public:
    /// What the server does with a request. It may take its time as long as `connection` is not given up.
    using Reaction = std::function<void(HostileServer& server, const std::string& request)>;

    static void behave(HostileServer& server, const std::string& request)
    {
        server.connection.trySend(ServerWords().streamFor(request));
    }

    HostileServer() : m_Listener(PlainSocket::listening()), m_Port(m_Listener.port()), m_Reaction(behave)
    {
        m_Thread = std::thread([this] { run(); });
    }
    ~HostileServer()
    {
        m_IsEnded = true;
        react(behave);
        m_Thread.join();
    }
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    int port() const { return m_Port; }

    /// Changes the server's ways; one that is at it stops.
    void react(Reaction reaction)
    {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Reaction = std::move(reaction);
            ++m_Change;
        }
        m_HasChanged.notify_all();
    }

    // For reactions, on the server's thread.

    PlainSocket connection;

    /// Returns when the server is to change its ways, at the latest when `isOver` says so.
    template <class Condition>
    void waitForChange(Condition isOver)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        while (m_ChangeSeen == m_Change && !isOver())
            m_HasChanged.wait_for(lock, LOOK_EVERY);
    }
    /// Sends data over and over again, a piece at a time, until the client has gone or the server changes.
    void drip(const std::string& data, std::size_t pieceSize, std::chrono::milliseconds pause)
    {
        const Dripping dripping(connection, data, pieceSize, pause);
        waitForChange([&] { return dripping.isOver(); });
    }

private:
    static constexpr std::chrono::milliseconds LOOK_EVERY{5};

    void run()
    {
        while (!m_IsEnded)
        {
            if (!m_Listener.waitForInput(LOOK_EVERY))
                continue;
            connection = m_Listener.accept();
            connection.sendWithoutDelay();
            for (std::string request = receive(); !request.empty() && !m_IsEnded; request = receive())
                reaction()(*this, request);
            connection.close();
        }
    }

    Reaction reaction()
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_ChangeSeen = m_Change;
        return m_Reaction;
    }

    /// Empty when the client closes, when the connection has been closed here, or when another client waits.
    std::string receive()
    {
        while (connection.isOpen() && !connection.waitForInput(LOOK_EVERY))
            if (m_IsEnded)
                return {};
        const std::string header = connection.isOpen() ? connection.receive(2) : std::string();
        return header.size() < 2
                   ? std::string()
                   : connection.receive(static_cast<std::size_t>(static_cast<unsigned char>(header[0])) << 8 |
                                        static_cast<unsigned char>(header[1]));
    }

    PlainSocket m_Listener;
    const int m_Port;
    std::mutex m_Mutex; // guards what follows
    std::condition_variable m_HasChanged;
    Reaction m_Reaction;
    int m_Change = 0;
    int m_ChangeSeen = 0; // by the reaction that is at it
    std::atomic<bool> m_IsEnded{false};
    std::thread m_Thread;
};
