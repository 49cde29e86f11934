#include <support/ImportedFunction.h>

#include <cstdint>
#include <cstring>

namespace
{

/// What stands at an offset of a module in memory.
template <class Thing>
Thing* at(HMODULE module, std::uintptr_t offset)
{
    return reinterpret_cast<Thing*>(reinterpret_cast<char*>(module) + offset);
}

const IMAGE_DATA_DIRECTORY& importsOf(HMODULE module)
{
    const auto* const dos = at<IMAGE_DOS_HEADER>(module, 0);
    const auto* const header = at<IMAGE_NT_HEADERS>(module, static_cast<std::uintptr_t>(dos->e_lfanew));
    return header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
}

/// Where the address of a function stands among those that a module imports from one DLL; null if it does not.
void** findIn(HMODULE module, const IMAGE_IMPORT_DESCRIPTOR& imports, const char* name)
{
    const auto* wanted = at<IMAGE_THUNK_DATA>(module, imports.OriginalFirstThunk);
    auto* found = at<IMAGE_THUNK_DATA>(module, imports.FirstThunk);
    for (; wanted->u1.AddressOfData; ++wanted, ++found)
        if (!IMAGE_SNAP_BY_ORDINAL(wanted->u1.Ordinal) &&
            std::strcmp(at<IMAGE_IMPORT_BY_NAME>(module, wanted->u1.AddressOfData)->Name, name) == 0)
            return reinterpret_cast<void**>(&found->u1.Function);
    return nullptr;
}

} // namespace

ImportedFunction::ImportedFunction(const char* dll, const char* name) : m_Place(nullptr)
{
    const HMODULE module = GetModuleHandleA(dll);
    if (!module || importsOf(module).Size == 0)
        return;
    const auto* imports = at<IMAGE_IMPORT_DESCRIPTOR>(module, importsOf(module).VirtualAddress);
    for (; imports->Name && !m_Place; ++imports)
        m_Place = findIn(module, *imports, name);
}
