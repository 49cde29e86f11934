#include <TSBase/LogFormat.h>

#include <support/LogFileBytes.h>
#include <support/TestFolder.h>
#include <support/TestToollist.h>

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace
{

/// The bytes of one line of a hex dump, behind its offset and before its column of characters.
std::string bytesOfLine(const std::string& line)
{
    std::istringstream numbers(line.substr(10, 49));
    numbers >> std::hex;
    std::string bytes;
    for (int value; numbers >> value;)
        bytes += static_cast<char>(value);
    return bytes;
}

/// The file that the document's hex dump shows. A "*" repeats the line above it up to the next line's offset.
std::string exampleOfDocument()
{
    std::ifstream document(TBR_DOCS_DIR "/log-format.md");
    std::string bytes, lastLine;
    for (std::string line; std::getline(document, line);)
    {
        if (!std::regex_search(line, std::regex("^[0-9a-f]{8}($|  )")))
            continue;
        const std::size_t offset = std::stoul(line.substr(0, 8), nullptr, 16);
        while (bytes.size() < offset && !lastLine.empty())
            bytes += lastLine;
        EXPECT_EQ(offset, bytes.size());
        if (line.size() > 8)
            bytes += lastLine = bytesOfLine(line);
    }
    return bytes;
}

} // namespace

TEST(LogFormat, BeginsWithAHeaderOf46BytesThatIncludesItsNul)
{
    EXPECT_EQ(46, LogFormat::HEADER_SIZE);
    EXPECT_EQ(logbytes::header(), std::string(LogFormat::HEADER, 46));
    EXPECT_EQ('\0', LogFormat::HEADER[45]);
}

TEST(LogFormat, TagsBlocksAndSlots)
{
    EXPECT_EQ(0x54, LogFormat::TOOL_LIST_TAG);
    EXPECT_EQ(0x50, LogFormat::POSITIONS_TAG);
    EXPECT_EQ(4, LogFormat::SLOT_TAG_SIZE);
    EXPECT_EQ(std::string("TL1\0", 4), std::string(LogFormat::FILLED_SLOT, 4));
    EXPECT_EQ(std::string("TL0\0", 4), std::string(LogFormat::EMPTY_SLOT, 4));
}

TEST(LogFormat, PlacesTheFieldsOfAToolRecord)
{
    using namespace LogFormat::ToolContent;
    EXPECT_EQ(0, NAME.offset);
    EXPECT_EQ(32, SECOND_NAME.offset);
    EXPECT_EQ(64, TYPE.offset);
    EXPECT_EQ(68, REAL_MARKERS.offset);
    EXPECT_EQ(72, REAL_MARKERS.points().offset);
    EXPECT_EQ(456, NORMAL_VECTORS.offset);
    EXPECT_EQ(460, NORMAL_VECTORS.points().offset);
    EXPECT_EQ(844, IMAGINARY_MARKERS.offset);
    EXPECT_EQ(848, IMAGINARY_MARKERS.points().offset);
    EXPECT_EQ(944, ID.offset);
    EXPECT_EQ(948, NUMBER_OF_JACKS.offset);
    EXPECT_EQ(952, MARKER_ANGLE_LIMIT.offset);
    EXPECT_EQ(956, MAX_3D.offset);
    EXPECT_EQ(960, MAX_RMS.offset);
    EXPECT_EQ(964, GID.offset);
    EXPECT_EQ(968, MIN_MARKERS.offset);
    EXPECT_EQ(972, SIZE);
}

TEST(LogFormat, PlacesTheTimeStamp)
{
    EXPECT_EQ(0, LogFormat::TimeStamp::SECONDS.offset);
    EXPECT_EQ(4, LogFormat::TimeStamp::MICROSECONDS.offset);
    EXPECT_EQ(8, LogFormat::TimeStamp::SIZE);
}

TEST(LogFormat, SizesARealTimeRecordByItsMarkers)
{
    EXPECT_EQ(48, LogFormat::realTimeSize(0));
    EXPECT_EQ(96, LogFormat::realTimeSize(4));
    EXPECT_EQ(528, LogFormat::realTimeSize(40));
}

TEST(LogFormat, IsWhatItsDocumentShows)
{
    std::string shown = exampleOfDocument();
    ASSERT_EQ(1112u, shown.size());

    TestToollist list(2);
    Tool* tool = new Tool(5, 2, "Pointer", "P-01", "", 14, 0, 0, {{0, 0, 0}, {50, 0, -2}}, {{0, -120.5, 0}}, 1, 1);
    tool->setNormalVector(0, Vector3d(0, 0, 1));
    tool->setMax3D(0.5f);
    tool->setMaxRMS(0.25f);
    tool->updateRealMarker(0, Vector3d(100.25, -2, 0.5));
    Matrix3x3 quarterTurn;
    quarterTurn[0][0] = quarterTurn[1][1] = 0;
    quarterTurn[0][1] = -1;
    quarterTurn[1][0] = 1;
    tool->updateTransform(Vector3d(10, 20, 30), quarterTurn);
    list.insertTool(0, "", tool);

    const TestFolder folder;
    ASSERT_TRUE(list.startLogging(folder.path("example.log")));
    list.tick();
    list.stopLogging();
    std::string recorded = folder.read("example.log");

    ASSERT_EQ(shown.size(), recorded.size());
    const std::size_t timeStamp = 0x408; // the one thing that differs
    shown.erase(timeStamp, 8);
    recorded.erase(timeStamp, 8);
    EXPECT_EQ(shown, recorded);
}
