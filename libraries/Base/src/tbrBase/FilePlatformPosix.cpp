#include <tbrBase/FilePlatform.h>

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tbr
{
namespace platform
{

static_assert(sizeof(off_t) == 8, "log files may be larger than 2 GiB");

namespace
{

bool endsIn(const std::string& name, const std::string& extension)
{
    return name.size() > extension.size() &&
           name.compare(name.size() - extension.size(), extension.size(), extension) == 0;
}

bool isFile(DIR* folder, const char* name)
{
    struct stat status;
    return fstatat(dirfd(folder), name, &status, 0) == 0 && S_ISREG(status.st_mode);
}

} // namespace

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
    return std::fflush(file) == 0 && ftruncate(fileno(file), size) == 0;
}

std::vector<std::string> listFiles(const std::string& directory, const std::string& extension)
{
    std::vector<std::string> names;
    DIR* folder = opendir(directory.c_str());
    if (!folder)
        return names;
    while (const dirent* entry = readdir(folder))
        if (endsIn(entry->d_name, extension) && isFile(folder, entry->d_name))
            names.push_back(entry->d_name);
    closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform
} // namespace tbr
