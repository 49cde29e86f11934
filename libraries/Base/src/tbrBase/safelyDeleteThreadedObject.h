#pragma once

#include <tbrBase/Export.h>

class QObject;

namespace tbr
{

/// Deletes an object that may live in another thread, and returns when it and its children are gone.
///
/// An object of the calling thread, or of a thread that does not run, is deleted here. Otherwise its own thread deletes
/// it (so timers and children end where they live) while this call waits; that thread must be running its event loop or
/// be about to end, and its QThread must outlive the call. An object that its thread deletes of its own accord in the
/// meantime is not deleted again. A null `object` is ignored.
TBR_BASE_EXPORT void safelyDeleteThreadedObject(QObject* object);

} // namespace tbr
