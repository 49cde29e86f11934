#pragma once

#include <string>

namespace fuzz
{

/// A file in memory that holds an input, for code that reads files by their path.
class InputFile
{
public:
    explicit InputFile(const std::string& bytes);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Valid while this lives, in this process.
    std::string path() const;

private:
    int m_Descriptor;
};

} // namespace fuzz
