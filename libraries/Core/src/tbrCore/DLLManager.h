#pragma once

#include <tbrCore/Export.h>

#include <string>

/// What plug-in libraries are called on this platform, and where a program looks for them.
class TBR_CORE_EXPORT DLLManager
{
public:
    /// The file extension of a plug-in library, with the dot: ".so" or ".dll".
    static std::string GetDLLExtension();

    /// The folder in which a program finds its plug-ins: ../modules beside the program's own folder (as in a build
    /// tree) if there is one, else ../lib/tbrNavigation/modules (as installed). UTF-8.
    static std::string GetModuleDirectory(const std::string& programFolder);
};
