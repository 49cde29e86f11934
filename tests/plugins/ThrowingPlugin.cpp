#include <QtGlobal>

#include <stdexcept>

/// A plug-in that cannot make its factory.
extern "C" Q_DECL_EXPORT void* createFactory()
{
    throw std::runtime_error("the camera's licence has expired");
}
