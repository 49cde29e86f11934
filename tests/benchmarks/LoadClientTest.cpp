#include <LoadClient.h>

#include <support/PlainSocket.h>

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace
{

const char* const GREETING = "000c 15000000 00000001 00000001";

/// A server of one client: answers the greeting, takes one request of `requestSize` bytes, sends `answer` and closes.
class OneAnswer
{
public:
    OneAnswer(std::size_t requestSize, const std::string& answer)
        : m_Listener(PlainSocket::listening()),
          m_Done(std::async(std::launch::async, [this, requestSize, answer] { serve(requestSize, answer); }))
    {
    }

    int port() const { return m_Listener.port(); }

private:
    void serve(std::size_t requestSize, const std::string& answer)
    {
        PlainSocket client = m_Listener.accept();
        EXPECT_EQ(client.receive(14), bytes(GREETING));
        client.send(bytes(GREETING));
        client.receive(requestSize);
        client.send(answer);
        client.endSending();
    }

    PlainSocket m_Listener;
    std::future<void> m_Done;
};

std::string failureOf(LoadClient& client, const Exchange& exchange)
{
    try
    {
        client.perform(exchange);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(LoadClient, TakesTheWholeAnswer)
{
    const std::string answer = bytes("0058 1e") + std::string(87, 'a') + bytes("0004 14000000");
    OneAnswer server(6, answer);
    LoadClient client(server.port());

    EXPECT_EQ(failureOf(client, Exchange::allPoses(1)), "none");
    EXPECT_EQ(std::string(client.answer(), 96), answer);
}

TEST(LoadClient, FailsOnAnErrorThatIsShorterThanTheAnswerWouldBe)
{
    OneAnswer server(6, bytes("0108 63000000") + std::string(260, '\0'));
    LoadClient client(server.port());

    EXPECT_EQ(failureOf(client, Exchange::allPoses(16)),
              "the server answered a packet of kind 99 and 264 bytes, expected were kind 30 and 88");
}

TEST(LoadClient, FailsWhenTheLastPacketIsAnother)
{
    OneAnswer server(6, bytes("0058 1e") + std::string(87, 'a') + bytes("0004 1e000000"));
    LoadClient client(server.port());

    EXPECT_EQ(failureOf(client, Exchange::allPoses(1)),
              "the server answered a packet of kind 30 and 4 bytes, expected were kind 20 and 4");
}

TEST(LoadClient, FailsWhenTheServerClosesInTheMiddleOfAnAnswer)
{
    OneAnswer server(38, bytes("0058 1d000000"));
    LoadClient client(server.port());

    EXPECT_EQ(failureOf(client, Exchange::pose("Tool1", 1)), "the server did not answer in full: 6 of 90 bytes came");
}

TEST(LoadClient, FailsToConnectWhereNobodyListens)
{
    const int port = PlainSocket::freePort();

    EXPECT_THROW(LoadClient{port}, std::runtime_error);
}
