#include <tbrCore/DLLFactoryBase.h>

#include <QLibrary>

namespace
{

/// A text without the machine-dependent tail of the dynamic loader, one line long.
std::string oneLine(const QString& text)
{
    return text.simplified().toStdString();
}

} // namespace

DLLFactoryBase::DLLFactoryBase(const char* libraryFile, const char* factoryName)
    : DLLFactoryBase(libraryFile, factoryName, std::string())
{
}

DLLFactoryBase::DLLFactoryBase(const char* libraryFile, const char* factoryName, const std::string& interfaceName)
    : m_Factory(nullptr)
{
    load(libraryFile ? libraryFile : "", factoryName ? factoryName : "createFactory", interfaceName);
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

void DLLFactoryBase::load(const std::string& libraryFile, const std::string& factoryName,
                          const std::string& interfaceName)
{
    QLibrary library(QString::fromStdString(libraryFile)); // its destructor does not unload
    if (libraryFile.empty() || !library.load())
    {
        m_ErrorMessage = "The library \"" + libraryFile + "\" cannot be loaded: " +
                         (libraryFile.empty() ? std::string("no file is named") : oneLine(library.errorString()));
        return;
    }

    using DescribeFunction = const char* (*)();
    const auto describe = reinterpret_cast<DescribeFunction>(library.resolve("factoryInterface"));
    if (describe && !interfaceName.empty() && interfaceName != describe())
    {
        m_ErrorMessage = "The library \"" + libraryFile + "\" offers a factory for " + describe() + ", but one for " +
                         interfaceName + " is needed";
        return;
    }

    using CreateFunction = void* (*)();
    const auto create = reinterpret_cast<CreateFunction>(library.resolve(factoryName.c_str()));
    if (!create)
    {
        m_ErrorMessage =
            "The library \"" + libraryFile + "\" is no plug-in: it does not export the function " + factoryName;
        return;
    }

    m_Factory = create();
    if (!m_Factory)
        m_ErrorMessage = "The library \"" + libraryFile + "\" returned no factory from its function " + factoryName;
}
