#pragma once

#include <tbrBase/Export.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// What differs between operating systems when files are used. One source per platform keeps these promises.
namespace tbr
{
namespace platform
{

/// Opens a file as fopen does, for binary contents and never inherited by child processes. `path` is UTF-8. `mode` is
/// "r", "w+" or the like without "b". Returns null on failure (errno says why). The caller closes the file.
TBR_BASE_EXPORT std::FILE* openFile(const std::string& path, const char* mode);

/// fseek and ftell with 64-bit offsets. seekFile returns whether it succeeded, tellFile -1 on failure.
TBR_BASE_EXPORT bool seekFile(std::FILE* file, std::int64_t offset, int whence);
TBR_BASE_EXPORT std::int64_t tellFile(std::FILE* file);

/// Cuts or extends a file that is open for writing to `size` bytes; false on failure. What was written before through
/// `file` counts; the position in the file stays.
TBR_BASE_EXPORT bool truncateFile(std::FILE* file, std::int64_t size);

/// The names (UTF-8, without folder) of the files in `directory` that end in `extension`, sorted byte by byte; empty
/// when there are none or the folder cannot be read. Folders, and a file whose whole name is `extension`, do not count.
TBR_BASE_EXPORT std::vector<std::string> listFiles(const std::string& directory, const std::string& extension);

} // namespace platform
} // namespace tbr
