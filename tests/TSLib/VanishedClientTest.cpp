#include "ServerInThread.h"

#include <support/Eventually.h>
#include <support/LogCapture.h>
#include <support/ProtocolClient.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>

using namespace wire;

namespace
{

/// A network of this thread's own, and of the threads it starts, with nothing but a loopback interface.
class OwnNetwork
{
public:
    OwnNetwork() : m_IsThere(::unshare(CLONE_NEWNET) == 0) {}
    bool isThere() const { return m_IsThere; }

    /// While it is down, every packet is lost without a word.
    void setUp(bool isUp)
    {
        PlainSocket owner = PlainSocket::unboundDataGram();
        const int socket = owner.release();
        owner = PlainSocket::adopt(socket);
        ifreq request = {};
        std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
        request.ifr_flags = static_cast<short>(isUp ? IFF_UP | IFF_LOOPBACK | IFF_RUNNING : IFF_LOOPBACK);
        EXPECT_EQ(::ioctl(socket, SIOCSIFFLAGS, &request), 0) << std::strerror(errno);
    }

private:
    bool m_IsThere;
};

} // namespace

TEST(VanishedClient, IsMissedWithinAMinuteWhetherItIsSilentOrDueAnAnswer)
{
    OwnNetwork network;
    if (!network.isThere())
        GTEST_SKIP() << "only an administrator may make a network of their own";
    network.setUp(true);
    const LogCapture log;
    ServerInThread server;
    ProtocolClient silent(server.port(), Order::HOST);
    ProtocolClient dueAnAnswer(server.port(), Order::HOST);
    std::string requests;
    for (int i = 0; i < 30000; ++i) // answered by 8 MB: more than the system keeps for a client that does not read
        requests += framed(bytes("00"));
    dueAnAnswer.socket().send(requests);
    EXPECT_TRUE(dueAnAnswer.socket().waitForInput(PlainSocket::PATIENCE));

    network.setUp(false);
    const auto lost = std::chrono::steady_clock::now();
    EXPECT_TRUE(eventually([&] { return log.count("toolserver", "Status: -7\n") == 2; }, 100000));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - lost;
    std::cout << "both clients were missed after " << time.count() << " s\n";
    network.setUp(true);
}
