#pragma once

#include <SimulatedCamera/SceneText.h>

#include <tbrNumerics/Vector3d.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace simulation
{

/// What is allowed, both ends included.
struct Range
{
    double least;
    double most;
};

/// Gives the values of one section of a scene by key, checked. A missing key gives the default. The first thing wrong
/// is kept as the error, which names section and key; what is asked for after that does not matter, but it is harmless
/// to go on. Use by one thread at a time; the section and the error outlive the reader.
class SectionReader
{
public:
    using Words = std::vector<std::string>;

    /// Coordinates in millimetres and times in seconds, far beyond what a tracker meets.
    static constexpr Range LENGTH{-100000.0, 100000.0};
    static constexpr Range TIME{0.0, 1000000.0};
    static constexpr Range PERIOD{0.001, 1000000.0};

    /// An `error` that is not empty already is left alone.
    SectionReader(const TextSection& section, std::string& error);

    bool has(const std::string& key) const;

    std::string text(const std::string& key, const std::string& defaultValue, std::size_t longest);
    double number(const std::string& key, double defaultValue, Range range);
    std::int64_t integer(const std::string& key, std::int64_t defaultValue, std::int64_t least, std::int64_t most);
    /// Three numbers.
    Vector3d point(const std::string& key, const Vector3d& defaultValue);
    /// A list of points, separated by commas; fewer than `fewest` (also none at all) or more than `most` are an error.
    std::vector<Vector3d> points(const std::string& key, std::size_t fewest, std::size_t most);
    /// A list of entries, separated by commas, of at least `fewest` and at most `most` words; empty when the key is
    /// missing.
    std::vector<Words> rows(const std::string& key, std::size_t fewest, std::size_t most);
    /// One word as a number; `key` is where it stands.
    double numberFrom(const std::string& key, const std::string& word, Range range);
    std::int64_t integerFrom(const std::string& key, const std::string& word, std::int64_t least, std::int64_t most);
    /// The three words from `first` on as a point.
    Vector3d pointFrom(const std::string& key, const Words& words, std::size_t first, Range range = LENGTH);

    /// Records an error about a key.
    void fail(const std::string& key, const std::string& problem);
    /// To be called at the end: a key that nobody asked for is an error.
    void refuseOtherKeys();

private:
    const std::string* find(const std::string& key);

    const TextSection& m_Section;
    std::string& m_Error;
    std::set<std::string> m_KnownKeys;
};

} // namespace simulation
