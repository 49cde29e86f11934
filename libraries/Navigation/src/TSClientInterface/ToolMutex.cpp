#include <TSClientInterface/ToolMutex.h>

namespace _tbr
{

/// From the moment when another user is counted, the holder cannot give the mutex up but by giveTurn(): it cannot do so
/// unnoticed between a look at m_State and the wait.
void ToolMutex::takeTurn()
{
    std::unique_lock<std::mutex> guard(m_TurnMutex);
    m_State += USER;
    m_TurnCame.wait(guard, [this] { return (m_State & TAKEN) == 0; });
    m_State |= TAKEN;
}

void ToolMutex::giveTurn()
{
    const std::lock_guard<std::mutex> guard(m_TurnMutex);
    m_State -= ONE_HOLDER;
    m_TurnCame.notify_all();
}

/// Only one that has had an Owner comes here.
void ToolMutex::end()
{
    delete this;
}

/// Waits as one more user, so that the others give their turns.
void ToolMutex::waitUntilUnused()
{
    std::unique_lock<std::mutex> guard(m_TurnMutex);
    const int ours = isOurs() ? ONE_HOLDER : 0;
    m_State += USER;
    m_TurnCame.wait(guard, [this, ours] { return m_State == ours + USER; });
    m_State -= USER;
}

} // namespace _tbr
