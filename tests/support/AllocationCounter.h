#pragma once

#ifdef _WIN32
#include <support/ImportedFunction.h>
#endif

#include <atomic>
#include <cstdlib>
#include <new>

/// Counts what the process takes from the heap with `new` while one of these lives, on every thread but those that have
/// called exemptThisThread(). Replaces the global operators: include it in one source of a test program only. Under the
/// sanitizers, which bring operators of their own, it counts the program's only.
class AllocationCounter
{
public:
    AllocationCounter() { countsLibraries(), ourCount = 0, ourIsCounting = true; }
    ~AllocationCounter() { ourIsCounting = false; }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    long count() const { return ourCount; }

    /// Whether what libraries and plug-ins take counts, too.
    static bool countsLibraries()
    {
#ifdef _WIN32
        // They do not share the program's operators, but those of GCC's own DLL.
        static const bool isWatching = watchRunTime();
        return isWatching;
#else
        return true;
#endif
    }

    static void exemptThisThread()
    {
        ourIsExempt = true;
    }
    static void note()
    {
        if (ourIsCounting && !ourIsExempt)
            ++ourCount;
    }

private:
#ifdef _WIN32
    static bool watchRunTime()
    {
        ImportedFunction malloc("libstdc++-6.dll", "malloc");
        if (malloc.isFound())
            malloc.replaceBy(&allocateForRunTime);
        return malloc.isFound();
    }
    static void* allocateForRunTime(std::size_t size)
    {
        note();
        return std::malloc(size);
    }
#endif

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
