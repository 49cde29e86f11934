#include <tbrBase/FilePlatform.h>

#include <algorithm>
#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

namespace tbr
{
namespace platform
{

static_assert(sizeof(off_t) == 8, "log files may be larger than 2 GiB");

std::FILE* openFile(const std::string& path, const char* mode)
{
    return std::fopen(path.c_str(), (std::string(mode) + "e").c_str());
}

bool seekFile(std::FILE* file, std::int64_t offset, int whence)
{
    return fseeko(file, offset, whence) == 0;
}

std::int64_t tellFile(std::FILE* file)
{
    return ftello(file);
}

bool truncateFile(std::FILE* file, std::int64_t size)
{
    return ftruncate(fileno(file), size) == 0;
}

std::vector<std::string> listFiles(const std::string& directory, const std::string& extension)
{
    std::vector<std::string> names;
    DIR* folder = opendir(directory.c_str());
    if (!folder)
        return names;
    while (const dirent* entry = readdir(folder))
    {
        const std::string name = entry->d_name;
        if (name.size() > extension.size() &&
            name.compare(name.size() - extension.size(), extension.size(), extension) == 0)
            names.push_back(name);
    }
    closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform
} // namespace tbr
