#include <support/FileSizeLimit.h>
#include <support/Wine.h>

#include <QString>

#include <cerrno>
#include <cstdint>
#include <cstring>

struct FileSizeLimit::Former
{
    HANDLE file;
};

/// Locks all that follows: writes into a part that another handle has locked fail.
FileSizeLimit::FileSizeLimit(const std::string& path, std::size_t bytes) : m_Former(std::make_unique<Former>())
{
    const std::wstring name = QString::fromStdString(path).toStdWString();
    m_Former->file = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_EXISTING, 0, nullptr);
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(bytes);
    place.OffsetHigh = static_cast<DWORD>(static_cast<std::uint64_t>(bytes) >> 32);
    LockFileEx(m_Former->file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 0, 0x7fffffff, &place);
}

FileSizeLimit::~FileSizeLimit()
{
    CloseHandle(m_Former->file); // which unlocks
}

std::string FileSizeLimit::obstacle()
{
    return isWine() ? "Wine lets a process write into a part of a file that another handle has locked" : "";
}

std::string FileSizeLimit::reason()
{
    return std::strerror(EACCES);
}

std::string FileSizeLimit::fullFile()
{
    return isWine() ? "Z:/dev/full" : "";
}
