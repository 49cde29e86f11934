#include "BareServer.h"

#include "Exchange.h"

#include <TSClientInterface/SocketPlatform.h>
#include <TSLib/AllPacketType.h>
#include <tbrBase/ProcessPlatform.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace platform = tbr::platform;

namespace
{

constexpr int BACKLOG = 128;

/// For each kind of request, what is sent in answer, send by send.
using Answers = std::array<std::vector<std::string>, 256>;

std::vector<std::string> answerTo(const Exchange& exchange, bareServer::Sends sends)
{
    std::vector<std::string> result;
    for (const Exchange::Packet& packet : exchange.answer)
    {
        std::string payload(static_cast<std::size_t>(packet.size), '\0');
        payload[0] = static_cast<char>(packet.kind);
        if (result.empty() || sends == bareServer::Sends::EACH)
            result.emplace_back();
        result.back() += Exchange::framed(payload);
    }
    return result;
}

Answers makeAnswers(int numberOfTools, bareServer::Sends sends)
{
    Answers answers;
    for (const Exchange& exchange : {Exchange::connect(), Exchange::pose("", 1), Exchange::allPoses(numberOfTools)})
        answers[static_cast<unsigned char>(exchange.request[Exchange::HEADER_SIZE])] = answerTo(exchange, sends);
    return answers;
}

bool receiveAll(int descriptor, char* buffer, int size)
{
    int received = 0;
    while (received < size)
    {
        const int count = platform::receiveBytes(descriptor, buffer + received, size - received);
        if (count <= 0)
            return false;
        received += count;
    }
    return true;
}

bool answerOne(int descriptor, const Answers& answers)
{
    unsigned char header[Exchange::HEADER_SIZE];
    char payload[AllPacketType::SIZE];
    if (!receiveAll(descriptor, reinterpret_cast<char*>(header), sizeof header))
        return false;
    const int size = header[0] << 8 | header[1];
    if (size == 0 || size > static_cast<int>(sizeof payload) || !receiveAll(descriptor, payload, size))
        return false;
    for (const std::string& bytes : answers[static_cast<unsigned char>(payload[0])])
    {
        const int length = static_cast<int>(bytes.size());
        if (platform::sendBytes(descriptor, bytes.data(), length) != length)
            return false;
    }
    return true;
}

void serve(int descriptor, const Answers& answers)
{
    platform::setNoDelay(descriptor);
    while (answerOne(descriptor, answers))
        continue;
    platform::closeSocket(descriptor);
}

/// The program that started this one holds the other end of standard input: this server never outlives it.
void endWithStandardInput()
{
    std::thread(
        []
        {
            while (std::getchar() != EOF)
                continue;
            std::_Exit(EXIT_SUCCESS);
        })
        .detach();
}

} // namespace

int bareServer::run(int numberOfTools, Sends sends)
{
    tbr::platform::survivePeersThatClose();
    const Answers answers = makeAnswers(numberOfTools, sends);
    platform::SocketAddress here;
    int error = 0;
    const int listener = platform::startSockets(error) ? platform::createSocket(false) : -1;
    if (!platform::parseAddress("127.0.0.1", 0, here) || !platform::bindSocket(listener, here) ||
        !platform::listenOn(listener, BACKLOG))
    {
        std::cerr << "toolserver_load: the bare server cannot listen\n" << std::flush;
        return EXIT_FAILURE;
    }
    endWithStandardInput();
    std::cout << "listening on 127.0.0.1:" << platform::getBoundPort(listener) << std::endl;
    for (;;)
    {
        platform::SocketAddress peer;
        const int descriptor = platform::acceptConnection(listener, peer);
        if (descriptor < 0)
            return EXIT_FAILURE;
        std::thread(serve, descriptor, std::cref(answers)).detach();
    }
}
