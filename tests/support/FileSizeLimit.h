#pragma once

#include <memory>
#include <string>

/// Keeps this process from writing any file beyond a size while it lives, as a full disk does.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(std::size_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    /// What the system calls the failure of a write beyond the limit.
    static std::string reason();

private:
    struct Former;
    std::unique_ptr<Former> m_Former;
};
