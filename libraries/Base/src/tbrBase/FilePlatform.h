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
/// "r", "w+" or the like without "b". Returns null on failure (errno says why).
TBR_BASE_EXPORT std::FILE* openFile(const std::string& path, const char* mode);

/// fseek and ftell with 64-bit offsets. seekFile returns true on success, tellFile -1 on failure.
TBR_BASE_EXPORT bool seekFile(std::FILE* file, std::int64_t offset, int whence);
TBR_BASE_EXPORT std::int64_t tellFile(std::FILE* file);

/// Cuts an open file to `size` bytes; false on failure.
TBR_BASE_EXPORT bool truncateFile(std::FILE* file, std::int64_t size);

/// The names (without folder) of the files in `directory` that end in `extension`, sorted; empty when there are none or
/// the folder cannot be read.
TBR_BASE_EXPORT std::vector<std::string> listFiles(const std::string& directory, const std::string& extension);

} // namespace platform
} // namespace tbr
