#include <tbrCore/CaSubject.h>

#include <tbrCore/CaObserver.h>

#include <algorithm>

namespace
{

bool contains(const std::vector<CaObserver*>& observers, const CaObserver* observer)
{
    return std::find(observers.begin(), observers.end(), observer) != observers.end();
}

} // namespace

CaSubject::CaSubject() = default;

CaSubject::~CaSubject() = default;

void CaSubject::addObserver(CaObserver* observer)
{
    const std::lock_guard<std::recursive_mutex> lock(m_ObserversMutex);
    if (observer && !contains(m_Observers, observer))
        m_Observers.push_back(observer);
}

void CaSubject::removeObserver(CaObserver* observer)
{
    const std::lock_guard<std::recursive_mutex> lock(m_ObserversMutex);
    m_Observers.erase(std::remove(m_Observers.begin(), m_Observers.end(), observer), m_Observers.end());
}

void CaSubject::notify(const char* event, void* data)
{
    const std::lock_guard<std::recursive_mutex> lock(m_ObserversMutex);
    const std::vector<CaObserver*> present = m_Observers;
    for (CaObserver* observer : present)
        if (contains(m_Observers, observer))
            observer->notified(*this, event, data);
}
