#include <support/FileSizeLimit.h>
#include <support/ImportedFunction.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

// Windows has no such limit for a process, and no disk to fill for a test: what the C library asks the system to write
// passes through here, and is refused as a full disk refuses it.

namespace
{

std::atomic<std::int64_t> ourLimit{INT64_MAX};

bool isBeyondLimit(HANDLE file, DWORD size)
{
    LARGE_INTEGER place = {};
    return GetFileType(file) == FILE_TYPE_DISK && SetFilePointerEx(file, {}, &place, FILE_CURRENT) &&
           place.QuadPart + static_cast<std::int64_t>(size) > ourLimit;
}

BOOL WINAPI writeWithinLimit(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
{
    if (!isBeyondLimit(file, size))
        return WriteFile(file, data, size, written, overlapped);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

/// True when the C library's writes come here.
bool watchWrites()
{
    bool isWatching = false;
    for (const char* const dll : {"msvcrt.dll", "ucrtbase.dll"})
    {
        ImportedFunction write(dll, "WriteFile");
        if (!write.isFound())
            continue;
        write.replaceBy(&writeWithinLimit);
        isWatching = true;
    }
    return isWatching;
}

} // namespace

struct FileSizeLimit::Former
{
    std::int64_t limit;
};

FileSizeLimit::FileSizeLimit(std::size_t bytes) : m_Former(std::make_unique<Former>())
{
    static const bool isWatching = watchWrites();
    EXPECT_TRUE(isWatching) << "no C library writes files";
    m_Former->limit = ourLimit.exchange(static_cast<std::int64_t>(bytes));
}

FileSizeLimit::~FileSizeLimit()
{
    ourLimit = m_Former->limit;
}

std::string FileSizeLimit::reason()
{
    return std::strerror(ENOSPC);
}
