#pragma once

#include <TSBase/Export.h>

#include <memory>

/// Receives from a connection in large pieces and gives out small ones.
///
/// Thread: one at a time. Memory: of the buffer, only what has once been filled is touched.
class TBR_NAVIGATION_EXPORT ReadAhead
{
public:
    static constexpr int CAPACITY = 2048;

    ReadAhead();

    /// As receiving straight from the connection: at most `size` bytes of what is here, waiting (in blocking mode) only
    /// when nothing is. Returns the count, 0 when the peer has closed, negative on failure.
    int receive(int descriptor, char* target, int size);

    /// What has been received and not given out.
    const char* bytes() const { return m_Buffer.get() + m_Begin; }
    int size() const { return m_End - m_Begin; }

private:
    int give(char* target, int size);

    std::unique_ptr<char[]> m_Buffer;
    int m_Begin = 0; // of what has not been given out
    int m_End = 0;
};
