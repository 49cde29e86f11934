#include <QtGlobal>

Q_DECL_EXPORT int missingCameraDriver();

/// Whoever is linked with this library cannot be loaded where it is not found.
int missingCameraDriver()
{
    return 1;
}
