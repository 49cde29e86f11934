#pragma once

#include <TSClientInterface/CaToolList.h>

#include <QThread>

namespace _tbr
{

/// Refreshes a tool list at every tick of its timer, if it is given one.
///
/// Nothing here starts a timer: an application that wants periodic poses calls startTimer() on this object and keeps
/// the number in `timerId`. It finds the object with SurgicalToolBox::getInstance()->findChild<QThread*>().
/// Thread: as every QObject it lives in the thread that made it, and so its timer ticks there, in that thread's event
/// loop; the thread that it stands for only waits.
class TBR_NAVIGATION_EXPORT ToolListUpdateThread : public QThread
{
public:
    explicit ToolListUpdateThread(QObject* parent);
    /// Stops the timer and ends the thread.
    ~ToolListUpdateThread() override;

    /// Hands over the tool list, which is borrowed. Null stops the timer.
    void setToolList(CaToolList* list);

    int timerId;                   ///< 0 while there is no timer
    QPointer<CaToolList> toolList; ///< null at first and when the list has died

protected:
    /// Calls updateAllTransforms(true); nothing without a tool list.
    void timerEvent(QTimerEvent* event) override;

private:
    void stopTimer();
};

} // namespace _tbr
