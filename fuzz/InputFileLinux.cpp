#include "InputFile.h"

#include "Target.h"

#include <sys/mman.h>
#include <unistd.h>

namespace fuzz
{

InputFile::InputFile(const std::string& bytes) : m_Descriptor(memfd_create("input", MFD_CLOEXEC))
{
    require(write(m_Descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "an input can be put into a file");
}

InputFile::~InputFile()
{
    close(m_Descriptor);
}

std::string InputFile::path() const
{
    return "/proc/self/fd/" + std::to_string(m_Descriptor);
}

} // namespace fuzz
