#pragma once

#include <memory>
#include <string>

/// Keeps this process from writing a file beyond a size while it lives, as a full disk does. The file is there already.
class FileSizeLimit
{
public:
    FileSizeLimit(const std::string& path, std::size_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    /// Why this system cannot limit a file; empty when it can.
    static std::string obstacle();
    /// What the system calls the failure of a write beyond the limit.
    static std::string reason();
    /// The path of a file into which nothing can be written; empty when this system has none.
    static std::string fullFile();

private:
    struct Former;
    std::unique_ptr<Former> m_Former;
};
