#pragma once

#include "Connection.h"

#include <atomic>
#include <deque>
#include <string>

/// Requests and their answers over one connection, so that an answer always reaches the request that it belongs to.
///
/// The protocol's answers bear no number, but they come in order. So at most one request is ever out: before the next
/// one is sent, whatever is still to come is received first. An answer that was too late is dropped then; the rest of a
/// sequence is kept for its fetches. A packet that cannot be the answer closes the connection, and so does a sequence
/// that does not end, and a server that takes no request.
///
/// How long an operation may take, whatever the server does and however slowly its bytes come: every one ends within
/// the time-out, connect() within three of them, and the fetches of one sequence wait no longer than SEQUENCE_TIMEOUTS
/// of them together. A fetch that has reported SERVER_TIMEOUT gives the sequence that long again.
///
/// Thread: one at a time (its user locks), except interrupt().
class PacketExchange
{
public:
    /// So many time-outs a sequence may take as a whole.
    static constexpr int SEQUENCE_TIMEOUTS = 4;

    void setTimeout(long ms) { m_TimeoutMs = ms; }
    long getTimeout() const { return m_TimeoutMs; }

    /// Connects and agrees on the protocol version and on host byte order, with the time-out for each. Returns a status
    /// code.
    int connect(const char* host, int port);
    /// Says goodbye if the server listens, and closes.
    void disconnect();
    bool isConnected() const { return m_IsConnected; }

    /// Sends the first `size` bytes of `packet` and receives the answer into it. Returns a status code: OK, that of an
    /// error packet, or SERVER_TIMEOUT, CONNECTION_ERROR, NO_CONNECTION, UNEXPECTED_PACKET.
    int request(AllPacketType& packet, int size);

    /// Sends a request whose answer is a sequence of packets; an earlier sequence is given up.
    int startSequence(const AllPacketType& packet, int size);
    /// Receives the whole sequence, so that its fetches need not wait. Returns a status code.
    int receiveSequence();
    /// Fetches the next packet of the sequence of packets of this kind. WAITING_FOR_PACKETS: `packet` is filled; OK:
    /// the sequence is complete; UNEXPECTED_PACKET: the last sequence that was started is another one, which is left
    /// alone; otherwise the status of an error packet, of startSequence(), or of the connection.
    int nextInSequence(PacketKind kind, AllPacketType& packet);

    /// Code and text of the last error packet of this connection; 0 and empty when there was none.
    int getLastRemoteError(std::string& text) const;

    /// Makes a blocked operation return CONNECTION_ERROR; does nothing when none is blocked. Any thread.
    void interrupt();

private:
    struct AnswerRule;

    int send(const AllPacketType& packet, int size, Connection::Deadline deadline);
    int settle(Connection::Deadline deadline);
    int receiveOne(AllPacketType& packet, Connection::Deadline deadline);
    int waitForOneOfSequence(AllPacketType& packet);
    void keep(const AllPacketType& packet, bool isOfSequence);
    int negotiate();
    int statusOf(const AllPacketType& packet);
    int close(int status);
    std::chrono::milliseconds timeout() const;
    Connection::Deadline deadlineFromNow() const;

    Connection m_Connection;
    std::atomic<long> m_TimeoutMs{1000};
    std::atomic<bool> m_IsConnected{false};
    std::atomic<bool> m_IsBusy{false};

    const AnswerRule* m_Pending = nullptr; // what the request that is out is answered with; null when none is
    bool m_IsPendingWanted = false;        // an answer that nobody waits for any more is dropped
    int m_PendingReceived = 0;             // packets of the answer that is pending
    AllPacketType m_Answer;                // to a request that is not a sequence
    std::deque<AllPacketType> m_Sequence;  // received and not fetched yet
    PacketKind m_SequenceKind = {};        // of the packets of the last sequence that was started
    int m_SequenceStatus = 0;              // what a fetch returns when nothing is there or to come
    Connection::Deadline::duration m_SequenceWaited{0}; // by the fetches of this sequence so far
    int m_RemoteErrorCode = 0;
    std::string m_RemoteErrorText;
};
