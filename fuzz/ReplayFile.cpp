// A tracking log of whatever bytes, played to its end and over it, once and again; what cannot be played is refused,
// and whether it can is told by the format alone.
#include "InputFile.h"
#include "Target.h"

#include <TSBase/ReplayTL.h>

#include <cstring>
#include <string>

namespace
{

using fuzz::require;

constexpr std::size_t HEADER_SIZE = 46, TAG_SIZE = 1, COUNT_SIZE = 4, SLOT_TAG_SIZE = 4, CONTENT_SIZE = 972,
                      STAMP_SIZE = 8, POSE_SIZE = 48;
const std::string HEADER("Pardel special-TS3 log-file format (10/2003).\0", HEADER_SIZE);

/// What the format says about the beginning of a file: how many slots it describes, and whether its first frame is
/// complete.
class Expectation
{
public:
    explicit Expectation(const std::string& file) : m_File(file) { m_IsPlayable = isHeader() && isList() && isFrame(); }

    bool isPlayable() const { return m_IsPlayable; }
    std::size_t numberOfSlots() const { return m_Slots; }

private:
    bool isHeader()
    {
        const bool isGood = m_File.compare(0, HEADER_SIZE, HEADER) == 0;
        m_At = HEADER_SIZE + TAG_SIZE;
        return isGood;
    }

    bool has(std::size_t size) const { return m_At <= m_File.size() && m_File.size() - m_At >= size; }

    /// 32 bits, the most significant byte first.
    std::size_t number(std::size_t at) const
    {
        std::size_t value = 0;
        for (std::size_t i = at; i < at + 4; ++i)
            value = value << 8 | static_cast<unsigned char>(m_File.at(i));
        return value;
    }

    /// The last tool of the list decides.
    bool isList()
    {
        if (!has(COUNT_SIZE))
            return false;
        m_Slots = number(m_At);
        m_At += COUNT_SIZE;
        if (!has(SLOT_TAG_SIZE * m_Slots))
            return false;
        bool isComplete = false;
        for (std::size_t slot = 0; slot < m_Slots; ++slot)
        {
            const bool isFilled = has(SLOT_TAG_SIZE) && m_File.compare(m_At, 4, std::string("TL1\0", 4)) == 0;
            m_At += std::min(SLOT_TAG_SIZE, m_File.size() - m_At);
            if (isFilled)
                isComplete = takeTool();
        }
        return isComplete;
    }

    bool takeTool()
    {
        constexpr std::size_t REALS = 68, NORMALS = 456, IMAGINARIES = 844;
        const std::size_t begin = m_At;
        if (!has(CONTENT_SIZE))
        {
            m_At = m_File.size();
            m_Frame.push_back(UNREADABLE);
            return false;
        }
        m_At += CONTENT_SIZE;
        const bool isGood =
            number(begin + REALS) <= 32 && number(begin + NORMALS) <= 32 && number(begin + IMAGINARIES) <= 8;
        m_Frame.push_back(isGood ? (number(begin + REALS) + 4) * 12 : UNREADABLE);
        return isGood;
    }

    bool isFrame()
    {
        m_At += TAG_SIZE;
        if (!has(STAMP_SIZE))
            return false;
        m_At += STAMP_SIZE;
        bool isComplete = false;
        for (const std::size_t size : m_Frame)
        {
            isComplete = size != UNREADABLE && has(size);
            if (size != UNREADABLE)
                m_At += std::min(size, m_File.size() - m_At);
        }
        return isComplete;
    }

    static constexpr std::size_t UNREADABLE = 0;

    const std::string& m_File;
    std::size_t m_At = 0;
    std::size_t m_Slots = 0;
    std::vector<std::size_t> m_Frame; // bytes of each tool's part of a frame
    bool m_IsPlayable;
};

/// Reads what a session would read.
void lookAt(const Toollist& list)
{
    const Toollist::Reading reading(list);
    for (const Tool* tool : reading.table().tools())
    {
        if (!tool)
            continue;
        record::PointList points;
        float rms = 0;
        tool->copyRealMarkerPositions(points, rms);
        require(points.count >= 0 && points.count <= 32, "a replayed tool has at most 32 markers");
        tool->copyImaginaryMarkers(points);
        require(points.count >= 0 && points.count <= 8, "a replayed tool has at most 8 imaginary points");
        Matrix3x3 rotation;
        Vector3d translation;
        tool->calculateTransformationToReference(rotation, translation);
        std::vector<char> block;
        tool->appendToolContent(block);
        tool->appendToolRTData(block);
    }
}

void play(const std::string& path, const Expectation& expected, std::size_t size, bool repeats)
{
    // A frame that is complete has a tool's pose at least, so these suffice to come to the end and go on a little.
    const std::size_t ticks = size / (TAG_SIZE + STAMP_SIZE + POSE_SIZE) + 3;
    ReplayTL replay(path, repeats);
    const bool isPlaying = replay.startReplay();
    require(isPlaying == expected.isPlayable(), "a log plays exactly when its first tool list and frame are complete");
    if (isPlaying)
        require(replay.getMaxNumberOfTools() == expected.numberOfSlots(), "a replay has the log's slots");
    lookAt(replay);
    for (std::size_t i = 0; i < ticks; ++i)
        QMetaObject::invokeMethod(&replay, "doReplay", Qt::DirectConnection);
    lookAt(replay);
    replay.stopReplay();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes = fuzz::textOf(data, size);
    const fuzz::InputFile file(bytes);
    const Expectation expected(bytes);
    play(file.path(), expected, size, false);
    play(file.path(), expected, size, true);
    return 0;
}
