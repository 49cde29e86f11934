#include "GreeterFactory.h"

#include <tbrCore/DLLFactory.h>

namespace
{

class Unrelated
{
public:
    virtual ~Unrelated() = default;
    int m_Value = 1;
};

/// The interface is its second base: a pointer to the object is none to the interface.
class GoodFactory : public Unrelated, public GreeterFactory
{
public:
    std::string greet() const override { return "hello"; }
};

} // namespace

TBR_EXPORT_FACTORY(GreeterFactory, GoodFactory)
