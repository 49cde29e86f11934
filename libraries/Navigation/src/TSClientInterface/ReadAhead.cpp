#include <TSClientInterface/ReadAhead.h>

#include <TSClientInterface/SocketPlatform.h>

#include <algorithm>
#include <cstring>

ReadAhead::ReadAhead() : m_Buffer(new char[CAPACITY]) {} // deliberately not filled

int ReadAhead::give(char* target, int size)
{
    const int count = std::min(size, m_End - m_Begin);
    std::memcpy(target, bytes(), static_cast<std::size_t>(count));
    m_Begin += count;
    return count;
}

int ReadAhead::receive(int descriptor, char* target, int size)
{
    const int given = give(target, size);
    if (given == size)
        return given;
    // The buffer is empty now. What is missing comes from the connection: without waiting if there is something
    // already.
    const int missing = size - given;
    const bool isLarge = missing >= CAPACITY;
    char* const place = isLarge ? target + given : m_Buffer.get();
    const int room = isLarge ? missing : CAPACITY;
    const int received = given > 0 ? tbr::platform::receiveAvailable(descriptor, place, room)
                                   : tbr::platform::receiveBytes(descriptor, place, room);
    if (received <= 0)
        return given > 0 ? given : received; // an end or a failure shows again next time
    if (isLarge)
        return given + received;
    m_Begin = 0;
    m_End = received;
    return given + give(target + given, missing);
}
