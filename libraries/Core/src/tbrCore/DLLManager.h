#pragma once

#include <tbrCore/Export.h>

#include <string>

/// What plug-in libraries are called on this platform.
class TBR_CORE_EXPORT DLLManager
{
public:
    /// The file extension of a plug-in library, with the dot: ".so" or ".dll".
    static std::string GetDLLExtension();
};
