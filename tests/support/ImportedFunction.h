#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h> // which must come before the next

#include <windows.h>

/// A function that a loaded DLL imports, by the place where the DLL looks it up for each call. Windows only: there, a
/// test gets between a library and the system in this way, as resource limits and the linker let it do elsewhere.
class ImportedFunction
{
public:
    ImportedFunction(const char* dll, const char* name);

    /// Whether the DLL is loaded and imports the function.
    bool isFound() const { return m_Place != nullptr; }

    /// Lets the DLL call another function from now on, for as long as it is loaded. It must be found.
    template <class Function>
    void replaceBy(Function* function)
    {
        DWORD former;
        VirtualProtect(m_Place, sizeof *m_Place, PAGE_READWRITE, &former);
        InterlockedExchangePointer(m_Place, reinterpret_cast<void*>(function));
        VirtualProtect(m_Place, sizeof *m_Place, former, &former);
    }

private:
    void** m_Place; // null when it is not found
};
