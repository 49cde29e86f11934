#include "GreeterFactory.h"

#include <QtGlobal>

namespace
{

class PlainFactory : public GreeterFactory
{
public:
    explicit PlainFactory(const char* greeting) : m_Greeting(greeting) {}
    std::string greet() const override { return m_Greeting; }

private:
    const std::string m_Greeting;
};

} // namespace

/// A plug-in as a stranger writes it: without the name of its interface.
extern "C" Q_DECL_EXPORT void* createFactory()
{
    static PlainFactory factory("hello, stranger");
    return static_cast<GreeterFactory*>(&factory);
}

/// An entry of another name.
extern "C" Q_DECL_EXPORT void* createOtherFactory()
{
    static PlainFactory factory("hello, other");
    return static_cast<GreeterFactory*>(&factory);
}
