#pragma once

#include <tbrCore/DLLFactoryBase.h>

#include <string>
#include <typeinfo>

namespace tbr
{

/// The name and version by which a plug-in and its user recognise a factory interface, for instance "ToollistFactory
/// 1". Both sides derive it from the class, so it agrees when they were built against the same interface.
template <class Interface>
const std::string& factoryInterfaceName()
{
    static const std::string name = []
    {
        std::string text = typeid(Interface).name();
        const auto blank = text.rfind(' '); // "class Name" with some compilers, "4Name" with others
        text.erase(0, blank == std::string::npos ? text.find_first_not_of("0123456789") : blank + 1);
        return text + " 1";
    }();
    return name;
}

} // namespace tbr

/// Loads a plug-in library that offers a factory of interface `Interface`; see DLLFactoryBase.
template <class Interface>
class DLLFactory : public DLLFactoryBase
{
public:
    explicit DLLFactory(const char* libraryFile, const char* factoryName = nullptr)
        : DLLFactoryBase(libraryFile, factoryName, tbr::factoryInterfaceName<Interface>())
    {
    }

    /// The plug-in's factory, which the plug-in owns; null when it could not be obtained (see getErrorMessage()).
    Interface* getFactory() const { return static_cast<Interface*>(getFactoryPointer()); }
};

/// Makes a library a plug-in: exports a factory of class `Class`, seen through its interface class `Interface`. The one
/// factory object lives until the process ends.
#define TBR_EXPORT_FACTORY(Interface, Class)                                                                           \
    extern "C" Q_DECL_EXPORT void* createFactory()                                                                     \
    {                                                                                                                  \
        static Class factory;                                                                                          \
        return static_cast<Interface*>(&factory);                                                                      \
    }                                                                                                                  \
    extern "C" Q_DECL_EXPORT const char* factoryInterface()                                                            \
    {                                                                                                                  \
        return tbr::factoryInterfaceName<Interface>().c_str();                                                         \
    }
