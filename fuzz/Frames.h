#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Packets as they travel: a 2-byte length, the most significant byte first, and that many bytes. Written without the
/// code under test.
namespace fuzz
{

struct Frames
{
    std::vector<std::string> payloads; // of the whole frames, up to one without bytes
    std::string rest;                  // what stands behind them
};

/// Takes a stream apart. A frame without bytes ends it, as it ends every connection: it belongs to the rest.
Frames takeApart(const std::string& stream);
std::string putTogether(const Frames& frames);

/// The bytes of a 32-bit integer at an offset, the most significant first.
std::int32_t networkInt(const std::string& payload, std::size_t offset);

/// Serves LLVMFuzzerCustomMutator(): changes a stream of frames so that most results are such streams again. The first
/// `prefix` bytes are no frames and mostly stay. Returns the new size.
std::size_t mutateFrames(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned int seed,
                         std::size_t prefix);

} // namespace fuzz
