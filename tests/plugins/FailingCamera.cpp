#include <TSBase/ToollistFactory.h>
#include <tbrCore/DLLFactory.h>

#include <stdexcept>

namespace
{

/// A camera module whose device cannot be opened, and which says so by an exception.
class FailingCameraFactory : public ToollistFactory
{
public:
    Toollist* createInstance() override { throw std::runtime_error("the device is not connected"); }
};

} // namespace

TBR_EXPORT_FACTORY(ToollistFactory, FailingCameraFactory)
