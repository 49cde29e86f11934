#include <QtGlobal>

/// A library that is no plug-in: it exports something, but no factory.
extern "C" Q_DECL_EXPORT int answer()
{
    return 42;
}
