#pragma once

#include <SimulatedCamera/Scene.h>
#include <SimulatedCamera/SceneText.h>
#include <SimulatedCamera/SectionReader.h>

#include <map>
#include <string>

namespace simulation
{

/// Reads scenes from INI text, whose format the module's README tells. Whatever the text is, the result is a scene that
/// can be run or an error; nothing is repaired or guessed.
class SceneReader
{
public:
    /// `path` is UTF-8. An error begins with the path.
    static SceneResult readFile(const std::string& path);
    /// An error begins with `sourceName`.
    static SceneResult readText(const std::string& text, const std::string& sourceName);

private:
    void readSections(const SceneText& text);
    void readScene(const TextSection& section);
    void readFootswitch(const TextSection& section);
    void readTool(const TextSection& section, const std::string& label);
    void readIdentity(SectionReader& values, const std::string& label, SceneTool& tool) const;
    void readGeometry(SectionReader& values, SceneTool& tool) const;
    void readTracking(SectionReader& values, TrackingParameters& tracking, int numberOfMarkers) const;
    void readOcclusions(SectionReader& values, SceneTool& tool) const;
    void readPlugging(SectionReader& values, SceneTool& tool) const;
    void readMotion(SectionReader& values, SceneTool& tool) const;
    Path readPath(SectionReader& values) const;

    Scene m_Scene;
    std::map<std::string, int> m_ToolIndices; // by label, of the tools read so far
    std::string m_Error;
};

} // namespace simulation
