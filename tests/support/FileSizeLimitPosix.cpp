#include <support/FileSizeLimit.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/resource.h>

struct FileSizeLimit::Former
{
    void (*handler)(int);
    rlimit limit;
};

FileSizeLimit::FileSizeLimit(std::size_t bytes) : m_Former(std::make_unique<Former>())
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

std::string FileSizeLimit::reason()
{
    return std::strerror(EFBIG);
}
