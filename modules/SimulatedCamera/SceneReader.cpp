#include <SimulatedCamera/SceneReader.h>

#include <SimulatedCamera/PoseFit.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <utility>

namespace simulation
{

namespace
{

constexpr std::int64_t LARGEST_FILE = 1 << 20;
constexpr int MOST_SLOTS = 256;
constexpr Range NOISE{0.0, 100.0};
constexpr Range ANGLES{-360.0, 360.0};
constexpr double RADIANS_PER_DEGREE = PI / 180.0;
const std::string TOOL_PREFIX = "Tool ";

Matrix3x3 rotationFromDegrees(const Vector3d& degrees)
{
    return rotationFromAngles(RADIANS_PER_DEGREE * degrees);
}

Matrix3x3 readRotation(SectionReader& values)
{
    return rotationFromDegrees(values.point("rotation", {}));
}

Vector3d readAxis(SectionReader& values)
{
    const Vector3d axis = values.point("axis", {0, 0, 1});
    if (axis.length() < 1e-6)
        values.fail("axis", "it has no length");
    return axis.normalized();
}

Orbit readOrbit(SectionReader& values)
{
    Orbit orbit;
    orbit.centre = values.point("position", MIDDLE_OF_VOLUME);
    orbit.rotation = readRotation(values);
    orbit.axis = readAxis(values);
    orbit.radius = values.number("radius", 50.0, {0.0, SectionReader::LENGTH.most});
    orbit.period = values.number("period", 10.0, SectionReader::PERIOD);
    return orbit;
}

Pivot readPivot(SectionReader& values)
{
    Pivot pivot;
    pivot.position = values.point("position", MIDDLE_OF_VOLUME);
    pivot.rotation = readRotation(values);
    pivot.axis = readAxis(values);
    pivot.tilt = RADIANS_PER_DEGREE * values.number("tilt", 20.0, {0.0, 180.0});
    pivot.period = values.number("period", 10.0, SectionReader::PERIOD);
    return pivot;
}

/// A limit of 0 is none; others are what a tool can be given.
float readLimit(SectionReader& values, const std::string& key)
{
    const double limit = values.number(key, 0.0, {0.0, 1.275});
    if (limit != 0.0 && limit < 0.005)
        values.fail(key, "it is neither 0 nor between 0.005 and 1.275");
    return static_cast<float>(limit);
}

/// The interval between two times, from word `first` on; without the second one it never ends.
Interval readInterval(SectionReader& values, const std::string& key, const SectionReader::Words& words,
                      std::size_t first)
{
    Interval interval;
    interval.from = values.numberFrom(key, words[first], SectionReader::TIME);
    interval.to = words.size() > first + 1 ? values.numberFrom(key, words[first + 1], SectionReader::TIME)
                                           : std::numeric_limits<double>::infinity();
    if (!(interval.from < interval.to))
        values.fail(key, "it ends at " + words.back() + ", which is not after its beginning");
    return interval;
}

bool lieOnOneLine(const std::vector<Vector3d>& markers)
{
    return !PoseFit::fit(markers, markers);
}

} // namespace

SceneResult SceneReader::readFile(const std::string& path)
{
    const QString name = QString::fromStdString(path);
    QFile file(name);
    if (!QFileInfo(name).isFile()) // a folder or a pipe could be opened, too
        return {nullptr, path + ": there is no such file"};
    if (!file.open(QIODevice::ReadOnly))
        return {nullptr, path + ": " + file.errorString().toStdString()};
    if (file.size() > LARGEST_FILE)
        return {nullptr, path + ": it is too large for a scene"};
    const QByteArray bytes = file.read(LARGEST_FILE);
    if (file.error() != QFileDevice::NoError)
        return {nullptr, path + ": " + file.errorString().toStdString()};
    return readText(bytes.toStdString(), path);
}

SceneResult SceneReader::readText(const std::string& text, const std::string& sourceName)
{
    SceneReader reader;
    const SceneText sections = SceneText::parse(text);
    reader.m_Error = sections.error;
    if (reader.m_Error.empty())
        reader.readSections(sections);
    if (!reader.m_Error.empty())
        return {nullptr, sourceName + ": " + reader.m_Error};
    return {std::make_shared<const Scene>(std::move(reader.m_Scene)), {}};
}

void SceneReader::readSections(const SceneText& text)
{
    for (const TextSection& section : text.sections) // first, because tools take defaults from it
        if (section.name == "Scene")
            readScene(section);

    for (const TextSection& section : text.sections)
    {
        if (section.name == "Footswitch")
            readFootswitch(section);
        else if (section.name.compare(0, TOOL_PREFIX.size(), TOOL_PREFIX) == 0)
            readTool(section, section.name.substr(TOOL_PREFIX.size()));
        else if (section.name != "Scene" && m_Error.empty())
            m_Error = "[" + section.name + "]: there is no such section";
    }
    if (m_Error.empty() && m_Scene.tools.size() > static_cast<std::size_t>(m_Scene.numberOfSlots))
        m_Error = "[Scene] slots: there are more tools than slots";
}

void SceneReader::readScene(const TextSection& section)
{
    SectionReader values(section, m_Error);
    m_Scene.rate = values.number("rate", m_Scene.rate, {1.0, 1000.0});
    m_Scene.seed = static_cast<std::uint64_t>(values.integer("seed", 1, 0, std::numeric_limits<std::int64_t>::max()));
    m_Scene.loop = values.number("loop", m_Scene.loop, SectionReader::TIME);
    m_Scene.noise = values.number("noise", m_Scene.noise, NOISE);
    m_Scene.numberOfSlots = static_cast<int>(values.integer("slots", m_Scene.numberOfSlots, 1, MOST_SLOTS));
    values.refuseOtherKeys();
}

void SceneReader::readFootswitch(const TextSection& section)
{
    SectionReader values(section, m_Error);
    Footswitch& footswitch = m_Scene.footswitch;
    footswitch.period = values.number("period", 10.0, SectionReader::PERIOD);
    double earliest = 0.0;
    for (const SectionReader::Words& words : values.rows("presses", 3, 3))
    {
        const int number = static_cast<int>(values.integerFrom("presses", words[0], 0, 255));
        const Interval when = readInterval(values, "presses", words, 1);
        if (when.from < earliest)
            values.fail("presses", "the one at " + words[1] + " begins before the one above is over");
        if (when.to > footswitch.period)
            values.fail("presses", "the one at " + words[1] + " ends after the period");
        footswitch.presses.push_back({number, when.from, when.to});
        earliest = when.to;
    }
    values.refuseOtherKeys();
}

void SceneReader::readTool(const TextSection& section, const std::string& label)
{
    SectionReader values(section, m_Error);
    SceneTool tool;
    readIdentity(values, label, tool);
    readGeometry(values, tool);
    if (!m_Error.empty())
        return;
    readTracking(values, tool.tracking, static_cast<int>(tool.markers.size()));
    readMotion(values, tool);
    readOcclusions(values, tool);
    readPlugging(values, tool);
    values.refuseOtherKeys();

    m_ToolIndices[label] = static_cast<int>(m_Scene.tools.size());
    m_Scene.tools.push_back(std::move(tool));
}

void SceneReader::readIdentity(SectionReader& values, const std::string& label, SceneTool& tool) const
{
    constexpr std::int64_t INT_LEAST = std::numeric_limits<int>::min();
    constexpr std::int64_t INT_MOST = std::numeric_limits<int>::max();
    tool.name = values.text("name", label, LONGEST_NAME);
    if (tool.name.empty())
        values.fail("name", "it is empty");
    tool.secondName = values.text("secondName", "", LONGEST_NAME);
    tool.owner = values.text("owner", "", LONGEST_NAME);
    const std::int64_t place = static_cast<std::int64_t>(m_Scene.tools.size()) + 1;
    tool.id = static_cast<int>(values.integer("id", place, INT_LEAST, INT_MOST));
    tool.groupId = static_cast<int>(values.integer("groupId", 0, INT_LEAST, INT_MOST));
    tool.type = static_cast<int>(values.integer("type", 0, 0, 255));
    tool.numberOfPlugs = static_cast<int>(values.integer("plugs", 1, 0, 255));
    tool.startCalibrationPoint = static_cast<int>(values.integer("startCalibrationPoint", 0, INT_LEAST, INT_MOST));
    tool.averaging = static_cast<unsigned int>(values.integer("averaging", 1, 1, 1000));
}

void SceneReader::readGeometry(SectionReader& values, SceneTool& tool) const
{
    tool.markers = values.points("markers", FEWEST_MARKERS, MOST_MARKERS);
    if (lieOnOneLine(tool.markers))
        values.fail("markers", "they lie on one line, so that no pose follows from them");
    tool.imaginaries = values.points("imaginaries", 0, MOST_IMAGINARIES);

    std::vector<Vector3d>& normals = tool.tracking.normals;
    normals = values.points("normals", 0, MOST_MARKERS);
    if (normals.size() == 1)
        normals.resize(tool.markers.size(), normals.front());
    if (!normals.empty() && normals.size() != tool.markers.size())
        values.fail("normals", "there must be one for each marker, or one for all");
}

void SceneReader::readTracking(SectionReader& values, TrackingParameters& tracking, int numberOfMarkers) const
{
    tracking.angleLimit = static_cast<int>(values.integer("angleLimit", 60, 0, 180));
    tracking.minMarkers =
        static_cast<int>(values.integer("minMarkers", FEWEST_MARKERS, FEWEST_MARKERS, numberOfMarkers));
    tracking.max3D = readLimit(values, "max3D");
    tracking.maxRMS = readLimit(values, "maxRMS");
}

void SceneReader::readOcclusions(SectionReader& values, SceneTool& tool) const
{
    const int lastMarker = static_cast<int>(tool.markers.size()) - 1;
    for (const SectionReader::Words& words : values.rows("occlusions", 3, 3))
    {
        Occlusion occlusion{Occlusion::ALL_MARKERS, readInterval(values, "occlusions", words, 1)};
        if (words[0] != "all")
            occlusion.marker = static_cast<int>(values.integerFrom("occlusions", words[0], 0, lastMarker));
        tool.occlusions.push_back(occlusion);
    }
}

void SceneReader::readPlugging(SectionReader& values, SceneTool& tool) const
{
    for (const SectionReader::Words& words : values.rows("plugged", 1, 2))
        tool.plugged.push_back(readInterval(values, "plugged", words, 0));
}

void SceneReader::readMotion(SectionReader& values, SceneTool& tool) const
{
    tool.noise = values.number("noise", m_Scene.noise, NOISE);
    if (values.has("movesIn"))
    {
        const std::string label = values.text("movesIn", "", std::string::npos);
        const auto found = m_ToolIndices.find(label);
        if (found == m_ToolIndices.end())
            values.fail("movesIn", "there is no tool '" + label + "' above this one");
        else
            tool.movesIn = found->second;
    }

    tool.motion.point = values.point("point", {});
    const std::string kind = values.text("motion", "still", std::string::npos);
    if (kind == "still")
        tool.motion.course = Still{values.point("position", MIDDLE_OF_VOLUME), readRotation(values)};
    else if (kind == "orbit")
        tool.motion.course = readOrbit(values);
    else if (kind == "pivot")
        tool.motion.course = readPivot(values);
    else if (kind == "path")
        tool.motion.course = readPath(values);
    else
        values.fail("motion", "'" + kind + "' is none of still, orbit, pivot and path");
}

Path SceneReader::readPath(SectionReader& values) const
{
    const std::string key = "waypoints";
    Path path{{}, m_Scene.loop};
    for (const SectionReader::Words& words : values.rows(key, 7, 7))
    {
        const double time = values.numberFrom(key, words[0], SectionReader::TIME);
        if (!path.waypoints.empty() && time <= path.waypoints.back().time)
            values.fail(key, "the one at " + words[0] + " is not after the one above");
        path.waypoints.push_back(
            {time, values.pointFrom(key, words, 1), rotationFromDegrees(values.pointFrom(key, words, 4, ANGLES))});
    }
    if (path.waypoints.empty())
        values.fail(key, "a path needs at least one");
    else if (path.loop > 0.0 && path.waypoints.back().time >= path.loop)
        values.fail(key, "the last one must be before the scene's loop ends");
    return path;
}

} // namespace simulation
