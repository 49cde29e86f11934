#include "Frames.h"

#include <algorithm>
#include <random>
#include <utility>

/// libFuzzer's own mutations.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace fuzz
{

namespace
{

constexpr std::size_t HEADER_SIZE = 2;
constexpr std::size_t LONGEST_PAYLOAD = 65535;
constexpr std::size_t USUAL_PAYLOAD = 600; // a little more than the largest packet
const std::string KINDS = {20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 50, 99};
constexpr std::size_t SIZES[] = {4, 12, 36, 88, 136, 140, 260, 264, 428, 440, 560};

using Random = std::minstd_rand;

std::size_t below(Random& random, std::size_t limit)
{
    return random() % limit;
}

std::string someFrame(Random& random)
{
    std::string payload(SIZES[below(random, std::size(SIZES))], '\0');
    payload[0] = KINDS[below(random, KINDS.size())];
    return payload;
}

void mutatePayload(std::string& payload)
{
    const std::size_t most = std::max(USUAL_PAYLOAD, payload.size());
    std::string bytes = payload;
    bytes.resize(most);
    const std::size_t size = LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), payload.size(), most);
    payload = bytes.substr(0, std::max<std::size_t>(1, size));
}

void changeOneFrame(std::vector<std::string>& payloads, Random& random)
{
    using Difference = std::vector<std::string>::difference_type;
    const std::size_t chosen = below(random, payloads.size());
    const auto place = payloads.begin() + static_cast<Difference>(chosen);
    switch (below(random, 8))
    {
    case 0:
        payloads.insert(place, someFrame(random));
        break;
    case 1:
        payloads.insert(place, std::string(*place));
        break;
    case 2:
        payloads.erase(place);
        break;
    case 3:
        std::swap(*place, payloads[below(random, payloads.size())]);
        break;
    case 4:
        (*place)[0] = KINDS[below(random, KINDS.size())];
        break;
    default:
        mutatePayload(*place);
    }
}

} // namespace

Frames takeApart(const std::string& stream)
{
    Frames frames;
    std::size_t at = 0;
    while (stream.size() - at >= HEADER_SIZE)
    {
        const auto byte = [&](std::size_t i)
        { return static_cast<std::size_t>(static_cast<unsigned char>(stream[i])); };
        const std::size_t size = byte(at) << 8 | byte(at + 1);
        if (size == 0 || stream.size() - at - HEADER_SIZE < size)
            break;
        frames.payloads.push_back(stream.substr(at + HEADER_SIZE, size));
        at += HEADER_SIZE + size;
    }
    frames.rest = stream.substr(at);
    return frames;
}

std::string putTogether(const Frames& frames)
{
    std::string stream;
    for (const std::string& payload : frames.payloads)
    {
        const std::size_t size = std::min(payload.size(), LONGEST_PAYLOAD);
        stream += {static_cast<char>(size >> 8), static_cast<char>(size)};
        stream.append(payload, 0, size);
    }
    return stream + frames.rest;
}

std::int32_t networkInt(const std::string& payload, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        value = value << 8 | static_cast<unsigned char>(payload.at(i));
    return static_cast<std::int32_t>(value);
}

std::size_t mutateFrames(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned int seed,
                         std::size_t prefix)
{
    Random random(seed);
    if (size <= prefix || below(random, 8) == 0) // anything at all may become of it, lengths and prefix included
        return LLVMFuzzerMutate(data, size, maxSize);

    Frames frames = takeApart(std::string(reinterpret_cast<const char*>(data) + prefix, size - prefix));
    if (frames.payloads.empty())
        frames.payloads.push_back(someFrame(random));
    for (std::size_t changes = 1 + below(random, 3); changes > 0 && !frames.payloads.empty(); --changes)
        changeOneFrame(frames.payloads, random);
    const std::string stream = putTogether(frames).substr(0, maxSize - prefix);
    std::copy(stream.begin(), stream.end(), data + prefix);
    return prefix + stream.size();
}

} // namespace fuzz
