#pragma once

#include <tbrCore/Export.h>

#include <mutex>
#include <vector>

class CaObserver;

/// Something whose events can be observed.
///
/// Thread: every operation may be called from any thread; observers are called on the thread that calls notify(), in
/// the order of their registration, while the subject's recursive lock is held. So an observer that removeObserver()
/// took off is not running any more when that call returns, and an observer must not wait for another thread that
/// registers here. Ownership: observers are borrowed; an observer takes itself off before it dies, and does not delete
/// the subject that is calling it.
class TBR_CORE_EXPORT CaSubject
{
public:
    CaSubject();
    virtual ~CaSubject();

    CaSubject(const CaSubject&) = delete;
    CaSubject& operator=(const CaSubject&) = delete;

    /// Registers an observer; one that is registered already, or null, is ignored.
    void addObserver(CaObserver* observer);
    /// Takes an observer off; an unknown one is ignored.
    void removeObserver(CaObserver* observer);

    /// Tells every observer. Observers may add and remove observers meanwhile: removed ones are not called any more,
    /// added ones are called from the next event on.
    void notify(const char* event, void* data);

private:
    std::recursive_mutex m_ObserversMutex; // guards m_Observers; held while observers are called
    std::vector<CaObserver*> m_Observers;
};
