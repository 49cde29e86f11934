#pragma once

#include <support/Eventually.h>
#include <support/ProtocolClient.h>
#include <support/ServerProcess.h>
#include <support/TestFolder.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

/// Recordings of 64 tools with four markers each, of which the first one, Clock, tells the time by its position: it
/// runs round a circle, once in PERIOD seconds. So the frame that a client saw can be compared with what was recorded.
namespace clockRecording
{

constexpr int TOOLS = 64;
constexpr double PERIOD = 1000.0;
constexpr std::size_t START_SIZE = 46 + 1 + 4 + TOOLS * (4 + 972);
constexpr std::size_t BLOCK_SIZE = 1 + 8 + TOOLS * (4 + 4) * 12;

inline std::string scene()
{
    const std::string markers = "markers = 0 0 0, 50 0 0, 0 60 0, 40 70 0\n";
    std::string text = "[Scene]\nslots = 64\nnoise = 0\n[Tool Clock]\n" + markers +
                       "motion = orbit\nposition = 0 0 -2000\nradius = 1000\nperiod = 1000\n";
    for (int tool = 1; tool < TOOLS; ++tool)
        text += "[Tool T" + std::to_string(tool) + "]\n" + markers;
    return text;
}

/// The time that the clock shows at (x, y), in seconds of its round.
inline double shownAt(float x, float y)
{
    return std::atan2(double(y), double(x)) / (2.0 * M_PI) * PERIOD;
}

/// Seconds from one time of the clock to a later one, at most half a round.
inline double passed(double from, double to)
{
    return std::remainder(to - from, PERIOD);
}

/// The time that a client sees.
inline double seenBy(ProtocolClient& client)
{
    const std::string answer = client.ask(wire::packet(wire::POSE, "Clock"));
    EXPECT_EQ(answer.size(), 88u);
    float translation[2] = {};
    if (answer.size() == 88)
        std::memcpy(translation, answer.data() + 72, sizeof translation);
    return shownAt(translation[0], translation[1]);
}

/// The bytes of a recording.
class Recording
{
public:
    explicit Recording(std::string bytes) : m_Bytes(std::move(bytes)) {}

    std::size_t size() const { return m_Bytes.size(); }
    /// Complete position blocks.
    std::size_t blocks() const { return size() < START_SIZE ? 0 : (size() - START_SIZE) / BLOCK_SIZE; }
    bool endsWithABlock() const { return size() == START_SIZE + blocks() * BLOCK_SIZE; }

    /// The time at which a block was taken, by the clock in it.
    double seconds(std::size_t block) const
    {
        const std::size_t translation = START_SIZE + block * BLOCK_SIZE + 9 + (4 + 3) * 12;
        return shownAt(floatAt(translation), floatAt(translation + 4));
    }

    /// The last time that a replay shows: of a block that is cut short it takes the records that are complete.
    double lastSecondsShown() const
    {
        const std::size_t clockEnd = START_SIZE + blocks() * BLOCK_SIZE + 9 + (4 + 4) * 12;
        return seconds(size() >= clockEnd ? blocks() : blocks() - 1);
    }

private:
    float floatAt(std::size_t offset) const
    {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 4; ++i)
            bits = bits << 8 | static_cast<unsigned char>(m_Bytes.at(offset + i));
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    std::string m_Bytes;
};

/// A server process whose simulated camera shows these tools and that records them.
class RecordingServer
{
public:
    explicit RecordingServer(const std::string& file) : process(arguments(file)) {}

    ProtocolClient connect() { return ProtocolClient(process.port(), wire::Order::HOST); }

private:
    std::vector<std::string> arguments(const std::string& file) const
    {
        std::vector<std::string> all = ServerProcess::loopback();
        const std::string settings =
            "[Tobrel]\nNavigation\\SimulatedCamera\\Scene=" + m_Folder.write("scene.ini", scene()) + "\n";
        all.insert(all.end(), {"--log", file, "--settings", m_Folder.write("settings.ini", settings)});
        return all;
    }

    const TestFolder m_Folder;

public:
    ServerProcess process;
};

} // namespace clockRecording
