#include <tbrCore/DLLManager.h>

std::string DLLManager::GetDLLExtension()
{
    return TBR_PLUGIN_EXTENSION;
}
