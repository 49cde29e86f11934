#pragma once

#include <tbrCore/Export.h>

class CaSubject;

/// Is told of the events of a CaSubject with which it was registered.
class TBR_CORE_EXPORT CaObserver
{
public:
    virtual ~CaObserver();

    /// Called on the thread that raises the event. `event` is a class-qualified name such as
    /// "CaRigidBody::RIGIMAGS_CHANGED"; `data` belongs to the subject and may be null.
    virtual void notified(CaSubject& subject, const char* event, void* data) = 0;
};
