#include <tbrBase/FilePlatform.h>

#include <algorithm>
#include <io.h>
#include <windows.h>

namespace tbr
{
namespace platform
{

namespace
{

std::wstring wide(const std::string& utf8)
{
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(std::max(length, 1)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, &text[0], length);
    text.resize(text.size() - 1);
    return text;
}

} // namespace

std::FILE* openFile(const std::string& path, const char* mode)
{
    return _wfopen(wide(path).c_str(), wide(std::string(mode) + "bN").c_str());
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
    return _chsize_s(_fileno(file), size) == 0;
}

std::vector<std::string> listFiles(const std::string& directory, const std::string& extension)
{
    std::vector<std::string> names;
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((directory + "/*" + extension).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do
        names.push_back(found.cFileName);
    while (FindNextFileA(search, &found));
    FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform
} // namespace tbr
