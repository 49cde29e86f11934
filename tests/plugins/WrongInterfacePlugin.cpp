#include "GreeterFactory.h"

#include <tbrCore/DLLFactory.h>

namespace
{

class FarewellFactory : public ParterFactory
{
public:
    std::string part() const override { return "goodbye"; }
};

} // namespace

TBR_EXPORT_FACTORY(ParterFactory, FarewellFactory)
