#include <tbrCore/DLLFactoryBase.h>

#include <QFileInfo>
#include <QLibrary>

#include <exception>

/// A library that, once loaded, stays so.
class DLLFactoryBase::Library
{
public:
    explicit Library(const std::string& file) : m_File(file), m_Library(pathOf(file))
    {
        // A library that lacks a symbol is refused now, rather than ending the process when it misses it.
        m_Library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    }

    /// How messages begin.
    std::string subject() const { return "The library \"" + m_File + "\" "; }

    /// Why it cannot be loaded; empty when it can.
    std::string load()
    {
        if (m_File.empty())
            return "no file is named";
        // Without this look, a file of a similar name (with "lib" before it) would be taken.
        if (namesFolder(m_File) && !QFileInfo(m_Library.fileName()).isFile())
            return "there is no such file";
        return m_Library.load() ? std::string() : m_Library.errorString().simplified().toStdString();
    }

    template <class Function>
    Function* resolve(const char* symbol)
    {
        return reinterpret_cast<Function*>(m_Library.resolve(symbol));
    }

private:
    static bool namesFolder(const std::string& file) { return file.find_first_of("/\\") != std::string::npos; }

    /// Absolute unless it is a bare name: of a relative path, a file of a similar name would be tried first.
    static QString pathOf(const std::string& file)
    {
        const QString name = QString::fromStdString(file);
        return namesFolder(file) ? QFileInfo(name).absoluteFilePath() : name;
    }

    const std::string m_File;
    QLibrary m_Library; // its destructor does not unload
};

DLLFactoryBase::DLLFactoryBase(const char* libraryFile, const char* factoryName)
    : DLLFactoryBase(libraryFile, factoryName, std::string())
{
}

DLLFactoryBase::DLLFactoryBase(const char* libraryFile, const char* factoryName, const std::string& interfaceName)
    : m_Factory(nullptr)
{
    Library library(libraryFile ? libraryFile : "");
    const std::string problem = library.load();
    if (problem.empty())
        obtainFrom(library, factoryName ? factoryName : "createFactory", interfaceName);
    else
        m_ErrorMessage = library.subject() + "cannot be loaded: " + problem;
}

DLLFactoryBase::~DLLFactoryBase() = default;

const std::string& DLLFactoryBase::getErrorMessage() const
{
    return m_ErrorMessage;
}

void* DLLFactoryBase::getFactoryPointer() const
{
    return m_Factory;
}

void DLLFactoryBase::obtainFrom(Library& library, const std::string& factoryName, const std::string& interfaceName)
{
    const auto describe = library.resolve<const char*()>("factoryInterface");
    const char* const offered = describe ? describe() : nullptr;
    if (offered && !interfaceName.empty() && interfaceName != offered)
    {
        m_ErrorMessage =
            library.subject() + "offers a factory for " + offered + ", but one for " + interfaceName + " is needed";
        return;
    }

    const auto create = library.resolve<void*()>(factoryName.c_str());
    if (!create)
    {
        m_ErrorMessage = library.subject() + "is no plug-in: it does not export the function " + factoryName;
        return;
    }

    try
    {
        m_Factory = create();
        if (!m_Factory)
            m_ErrorMessage = library.subject() + "returned no factory from its function " + factoryName;
    }
    catch (const std::exception& error)
    {
        m_ErrorMessage = library.subject() + "failed in its function " + factoryName + ": " + error.what();
    }
}
