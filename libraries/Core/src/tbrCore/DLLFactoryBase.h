#pragma once

#include <tbrCore/Export.h>

#include <string>

/// Loads a plug-in library and obtains the factory object that it offers.
///
/// A plug-in exports the C function `createFactory` (or one of another name), which returns its factory. It may also
/// export `factoryInterface`, which names the interface and its version; a library whose name differs from what is
/// wanted is refused, one that does not export it is accepted as it is.
///
/// Ownership: the factory belongs to the plug-in. The library stays loaded until the process ends (also a refused one),
/// because objects and texts that came out of it may live as long.
/// Thread: construct and use it on one thread at a time.
class TBR_CORE_EXPORT DLLFactoryBase
{
public:
    /// `libraryFile` is a path (UTF-8) to exactly this file, or a bare file name that the system looks up on its
    /// library path. `factoryName` is the exported function, null for `createFactory`.
    DLLFactoryBase(const char* libraryFile, const char* factoryName);
    virtual ~DLLFactoryBase();

    DLLFactoryBase(const DLLFactoryBase&) = delete;
    DLLFactoryBase& operator=(const DLLFactoryBase&) = delete;

    /// Why there is no factory: names the file and what it lacks. Empty when there is one.
    const std::string& getErrorMessage() const;

protected:
    /// As above; only a plug-in of `interfaceName` is accepted.
    DLLFactoryBase(const char* libraryFile, const char* factoryName, const std::string& interfaceName);

    /// The factory as the plug-in returned it, null when there is none.
    void* getFactoryPointer() const;

private:
    class Library;
    void obtainFrom(Library& library, const std::string& factoryName, const std::string& interfaceName);

    void* m_Factory;
    std::string m_ErrorMessage;
};
