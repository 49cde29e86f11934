#include <QtGlobal>

/// Defined nowhere.
int missingCameraDriver();

extern "C" Q_DECL_EXPORT void* createFactory()
{
    static int factory = missingCameraDriver();
    return &factory;
}
