#include <SurgicalTools/ToolListUpdateThread.h>

namespace _tbr
{

ToolListUpdateThread::ToolListUpdateThread(QObject* parent) : QThread(parent), timerId(0) {}

ToolListUpdateThread::~ToolListUpdateThread()
{
    stopTimer();
    quit();
    wait(); // a QThread must not die while it runs
}

void ToolListUpdateThread::setToolList(CaToolList* list)
{
    toolList = list;
    if (!toolList)
        stopTimer();
}

void ToolListUpdateThread::timerEvent(QTimerEvent*)
{
    if (toolList)
        toolList->updateAllTransforms(true);
}

void ToolListUpdateThread::stopTimer()
{
    if (timerId != 0)
        killTimer(timerId);
    timerId = 0;
}

} // namespace _tbr
