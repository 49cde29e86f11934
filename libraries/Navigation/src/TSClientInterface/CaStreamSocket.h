#pragma once

#include <TSClientInterface/CaSocket.h>
#include <TSClientInterface/ReadAhead.h>

#include <memory>

/// A TCP connection as a sequence of packets: each travels as a 2-byte payload length, unsigned and big-endian whatever
/// enableByteSwapping() chose, and that many payload bytes.
///
/// Receiving: header due --1 byte--> header partly there --> payload due --last byte--> header due. The state survives
/// between calls of read(), so a caller may poll with a short limit and call again after -2. A failure leaves the state
/// where it was.
///
/// Results of all operations (SocketResult.h): 0 done, -1 not open, -2 nothing complete yet, -5 not sent, -6 waiting or
/// receiving failed, -7 the peer closed. While a header is due, a failed receive counts as closed (-7) too, and only
/// there a closed peer closes this socket for good.
class TBR_NAVIGATION_EXPORT CaStreamSocket : public CaSocket
{
public:
    /// The largest payload that can be written; with its header it fills the write buffer.
    static constexpr int MAX_WRITE_PACKEt_SIZE = 65533;

    ~CaStreamSocket() override;

    /// Receives one packet and copies its whole payload into `buffer`, which must hold what the peer may announce: up
    /// to 65533 bytes from a peer of this kind, 65535 from any other. `*size` becomes the payload's size.
    int read(void* buffer, int* size, long timeoutMs) override;
    /// Sends `size` bytes (at most 65533, otherwise -5) as one packet.
    int write(const void* buffer, int size) override;

    /// Receives one packet; on 0 its payload stands at getReadBuffer(), `*size` bytes long, until the next read. Waits
    /// at most `timeoutMs` milliseconds before the header and again before the payload; 0 only looks; a negative limit
    /// receives without waiting first, which blocks in blocking mode. A packet announced with no bytes is answered
    /// with -7 at once, from then on.
    virtual int read(int* size, long timeoutMs);
    /// Sends as one packet the `size` bytes that the caller has put at getWriteBuffer().
    virtual int write(int size);

    /// The payload of the packet last completed by read().
    void* getReadBuffer() { return m_ReadPayload; }
    /// Room for MAX_WRITE_PACKEt_SIZE bytes in which a payload can be built for write(int).
    void* getWriteBuffer() { return m_WritePayload; }

protected:
    CaStreamSocket(int descriptor, bool blocking);
    CaStreamSocket(bool dataGram, bool blocking);

    /// Sends bytes that already carry their headers, completely as long as the socket is in blocking mode. Returns 0,
    /// -1 or -5.
    int writeFrames(const char* bytes, int size);

    /// From now on takes everything that has arrived at once, and serves later reads from it: packets that come
    /// together then cost one call of the system. The results of read() are the same; isReadyToRead() tells of the
    /// connection alone and not of what has been taken from it.
    void enableReadAhead();
    /// Whether a whole packet has been read ahead, so that a read would return it without waiting.
    bool hasReadAheadPacket() const;

    /// Whether the peer closed its side or is gone. Never waits and takes no byte. May be asked while a packet is due.
    bool isPeerGone();

    bool m_IsOpen = false;          ///< connected or accepted; read and written by the socket's one thread only
    int m_ExpectedSize = 0;         ///< bytes that the receiving state waits for in all
    int m_ReceivedSize = 0;         ///< bytes of them that are here
    char* m_WriteBuffer = nullptr;  ///< outgoing header and payload, 65535 bytes
    char* m_ReadBuffer = nullptr;   ///< incoming header and payload, room for any length a header can announce
    char* m_WritePayload = nullptr; ///< behind the header in m_WriteBuffer
    char* m_ReadPayload = nullptr;  ///< behind the header in m_ReadBuffer
    int m_ReceivingState = 0;       ///< 0 header due, 1 header partly there, 2 payload due

private:
    void initBuffer();
    unsigned short swapSizeHeader(unsigned short size);
    /// All receiving goes through here: at most `size` bytes, 0 when the peer has closed, negative on failure.
    int receive(char* target, int size);
    int receiveHeader(int* size, long timeoutMs);
    int receiveRestOfHeader(int* size, long timeoutMs);
    int receivePayload(int* size);
    int expectPayload(int* size, long timeoutMs);
    int expectRestOfHeader(int received, int* size);

    std::unique_ptr<ReadAhead> m_ReadAhead; // null when nothing is read ahead
};
