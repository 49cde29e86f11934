#include <support/FileSizeLimit.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

struct FileSizeLimit::Former
{
    void (*handler)(int);
    rlimit limit;
};

FileSizeLimit::FileSizeLimit(const std::string&, std::size_t bytes) : m_Former(std::make_unique<Former>())
{
    m_Former->handler = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_Former->limit);
    const rlimit limit = {bytes, m_Former->limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit()
{
    setrlimit(RLIMIT_FSIZE, &m_Former->limit);
    std::signal(SIGXFSZ, m_Former->handler);
}

std::string FileSizeLimit::obstacle()
{
    return {};
}

std::string FileSizeLimit::reason()
{
    return std::strerror(EFBIG);
}

std::string FileSizeLimit::fullFile()
{
    return access("/dev/full", W_OK) == 0 ? "/dev/full" : "";
}
