#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

/// Counts what the process takes from the heap with `new` while one of these lives, on every thread but those that have
/// called exemptThisThread(). Replaces the global operators: include it in one source of a test program only. Under the
/// sanitizers, which bring operators of their own, and on Windows, where a library has its own, it counts the
/// program's.
class AllocationCounter
{
public:
    AllocationCounter() { ourCount = 0, ourIsCounting = true; }
    ~AllocationCounter() { ourIsCounting = false; }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    long count() const { return ourCount; }

    static void exemptThisThread() { ourIsExempt = true; }
    static void note()
    {
        if (ourIsCounting && !ourIsExempt)
            ++ourCount;
    }

private:
    static inline std::atomic<bool> ourIsCounting{false};
    static inline std::atomic<long> ourCount{0};
    static inline thread_local bool ourIsExempt = false;
};

inline void* allocateCounted(std::size_t size)
{
    AllocationCounter::note();
    if (void* const place = std::malloc(size ? size : 1))
        return place;
    throw std::bad_alloc();
}

void* operator new(std::size_t size)
{
    return allocateCounted(size);
}
void* operator new[](std::size_t size)
{
    return allocateCounted(size);
}
void operator delete(void* place) noexcept
{
    std::free(place);
}
void operator delete[](void* place) noexcept
{
    std::free(place);
}
void operator delete(void* place, std::size_t) noexcept
{
    std::free(place);
}
void operator delete[](void* place, std::size_t) noexcept
{
    std::free(place);
}
