#include "TestSession.h"

#include <fstream>
#include <sstream>

namespace
{

/// One line of an exchange in docs/protocol.md: who sends what.
struct Step
{
    char sender; // '>' the client, '<' the server
    std::string content;
};
using Exchange = std::vector<Step>;

/// The bytes of a line: hexadecimal digits, and "00*27" for a repeated byte.
std::string bytesOf(const std::string& line)
{
    std::istringstream words(line);
    std::string result;
    for (std::string word; words >> word;)
    {
        const auto star = word.find('*');
        const int times = star == std::string::npos ? 1 : std::stoi(word.substr(star + 1));
        for (int i = 0; i < times; ++i)
            result += bytes(word.substr(0, star));
    }
    return result;
}

std::vector<Exchange> exchangesIn(const std::string& file)
{
    std::ifstream document(file);
    EXPECT_TRUE(document) << file;
    std::vector<Exchange> exchanges;
    bool isInside = false;
    for (std::string line; std::getline(document, line);)
    {
        if (line.rfind("```", 0) == 0)
        {
            isInside = line == "```exchange";
            if (isInside)
                exchanges.emplace_back();
        }
        else if (isInside && line[0] != '#')
            exchanges.back().push_back({line[0], bytesOf(line.substr(1))});
    }
    return exchanges;
}

} // namespace

TEST(ProtocolDocument, ShowsExchangesAsTheyHappen)
{
    TestToollist tools(2);
    Tool* probe = makeTool("Probe");
    Tool* base = makeTool("Base");
    tools.insertTool(0, "", probe);
    tools.insertTool(1, "", base);
    place(*probe, quarterTurn(), {10, 20, 30});
    probe->updateRms(0.25f);
    hide(*base);

    const std::vector<Exchange> exchanges = exchangesIn(TBR_DOCS_DIR "/protocol.md");
    ASSERT_EQ(exchanges.size(), 2U);
    for (const Exchange& exchange : exchanges)
    {
        TestSession session(tools);
        EXPECT_GT(exchange.size(), 10U);
        for (const Step& step : exchange)
        {
            if (step.sender == '>')
                session.socket().send(step.content);
            else
                ASSERT_EQ(session.socket().receive(step.content.size()), step.content);
        }
        EXPECT_TRUE(session.isServed()) << "nothing is left over";
    }
}
