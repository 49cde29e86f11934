#include <tbrBase/safelyDeleteThreadedObject.h>

#include <QObject>
#include <QSemaphore>
#include <QThread>

#include <memory>

namespace tbr
{

void safelyDeleteThreadedObject(QObject* object)
{
    if (!object)
        return;

    QThread* thread = object->thread();
    if (!thread || thread == QThread::currentThread() || !thread->isRunning())
    {
        delete object;
        return;
    }

    const auto gone = std::make_shared<QSemaphore>();
    QObject::connect(
        object, &QObject::destroyed, object, [gone] { gone->release(); }, Qt::DirectConnection);
    object->deleteLater();
    // An ending thread runs its deferred deletions before it finishes, so this wait is bounded by the thread's work.
    gone->acquire();
}

} // namespace tbr
