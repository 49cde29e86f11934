#pragma once

#include <memory>
#include <string>

/// Keeps this process, whoever runs it, from opening a file while it lives. The file is there already.
class UnreadableFile
{
public:
    explicit UnreadableFile(const std::string& path);
    ~UnreadableFile();
    UnreadableFile(const UnreadableFile&) = delete;
    UnreadableFile& operator=(const UnreadableFile&) = delete;

private:
    struct Former;
    std::unique_ptr<Former> m_Former;
};
