#pragma once

#include <map>
#include <string>
#include <vector>

namespace simulation
{

/// One section of a scene's text: its name as it stands in the brackets, and its values by key.
struct TextSection
{
    std::string name;
    std::map<std::string, std::string> values;
};

/// A scene's INI text, taken apart into sections in the order of the text: a tool's slot follows from its place.
///
/// - A line is a [section], a `key = value`, or, when it begins with a blank and has no '=', it continues the value
///   above it.
/// - '#' and ';' begin a comment that ends with the line. Blanks around names and values are dropped.
/// - Nothing is overruled silently: a section or a key that appears twice is an error.
struct SceneText
{
    std::vector<TextSection> sections;
    /// Names the line and what is wrong with it; empty when the text is well-formed.
    std::string error;

    static SceneText parse(const std::string& text);
};

} // namespace simulation
