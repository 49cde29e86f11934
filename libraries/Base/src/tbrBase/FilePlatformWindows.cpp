#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <tbrBase/FilePlatform.h>

#include <algorithm>
#include <io.h>
#include <share.h>

#include <windows.h>

namespace tbr
{
namespace platform
{

namespace
{

/// An empty text for what is not UTF-8.
std::wstring wide(const std::string& utf8)
{
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, &text[0], length);
    return text;
}

std::string narrow(const std::wstring& text)
{
    const int size = static_cast<int>(text.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, &utf8[0], length, nullptr, nullptr);
    return utf8;
}

/// The search pattern also matches longer extensions and short (8.3) names, so the end is looked at again.
bool endsIn(const std::string& name, const std::string& extension)
{
    return name.size() > extension.size() &&
           _stricmp(name.c_str() + name.size() - extension.size(), extension.c_str()) == 0;
}

} // namespace

std::FILE* openFile(const std::string& path, const char* mode)
{
    return _wfsopen(wide(path).c_str(), wide(std::string(mode) + "bN").c_str(), _SH_DENYNO);
}

bool seekFile(std::FILE* file, std::int64_t offset, int whence)
{
    return _fseeki64(file, offset, whence) == 0;
}

std::int64_t tellFile(std::FILE* file)
{
    return _ftelli64(file);
}

bool truncateFile(std::FILE* file, std::int64_t size)
{
    return std::fflush(file) == 0 && _chsize_s(_fileno(file), size) == 0;
}

std::vector<std::string> listFiles(const std::string& directory, const std::string& extension)
{
    std::vector<std::string> names;
    if (directory.empty()) // what follows would be the drive's root
        return names;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(wide(directory + "/*" + extension).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do
    {
        const std::string name = narrow(found.cFileName);
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && endsIn(name, extension))
            names.push_back(name);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform
} // namespace tbr
