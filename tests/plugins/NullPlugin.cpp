#include <QtGlobal>

/// A plug-in that has no factory to offer, and no name for it either.
extern "C" Q_DECL_EXPORT void* createFactory()
{
    return nullptr;
}
extern "C" Q_DECL_EXPORT const char* factoryInterface()
{
    return nullptr;
}
