#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What all fuzz targets share. Each target is a program: Target.cpp prepares it once, libFuzzer then calls the
/// target's LLVMFuzzerTestOneInput() with one input after the other.
namespace fuzz
{

/// Ends the program, which keeps the input, when a promise is broken; `promise` says what should have held.
void require(bool holds, const char* promise);

/// Waits, when it goes, until no more threads run than when it came: what they have allocated is free then. Otherwise
/// libFuzzer takes an input whose last thread is about to end for one that leaks, and looks closely, which takes long.
class ThreadsEnd
{
public:
    ThreadsEnd();
    ~ThreadsEnd();
    ThreadsEnd(const ThreadsEnd&) = delete;
    ThreadsEnd& operator=(const ThreadsEnd&) = delete;

private:
    const std::uintmax_t m_Count;
};

/// An input as text.
inline std::string textOf(const std::uint8_t* data, std::size_t size)
{
    return std::string(reinterpret_cast<const char*>(data), size);
}

} // namespace fuzz
