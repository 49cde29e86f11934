#include <TSClientInterface/CaToolServer.h>

#include <tbrCore/Log.h>

#include <iostream>
#include <iterator>

namespace
{

constexpr int LOWEST_STATUS = CaToolServer::NO_NORMAL_VECTORS;

const char* const statusMessages[] = {"Tool does not have normal vectors",
                                      "Initialization error",
                                      "Tools are too far from reference",
                                      "Calibration error",
                                      "Maximal number of clients reached",
                                      "Wrong request from client",
                                      "Requested socket is already in use",
                                      "Missing plugs of a multiplug tool",
                                      "Problem reading tool info",
                                      "Problem initializing OptoTrak",
                                      "Problem initializing stroberbox",
                                      "Problem initializing comport",
                                      "Unknown tool",
                                      "Tool not in view",
                                      "Reference not in view",
                                      "Unexpected packet received",
                                      "Remote error message",
                                      "Tool set has changed",
                                      "Connection error",
                                      "Incompatiple protocol",
                                      "Unknown hostname",
                                      "Server timeout",
                                      "No connection with toolserver",
                                      "Toolserver OK",
                                      "Waiting for packets",
                                      "Footswitch pressed",
                                      "Footswitch released"};

static_assert(std::size(statusMessages) == CaToolServer::FOOTSWITCH_RELEASED - LOWEST_STATUS + 1,
              "every status has its message");

} // namespace

CaToolServer::CaToolServer() = default;

CaToolServer::~CaToolServer() = default;

const char* CaToolServer::getMessage(int status)
{
    if (status >= LOWEST_STATUS && status <= FOOTSWITCH_RELEASED)
        return statusMessages[status - LOWEST_STATUS];

    const long long index = static_cast<long long>(status) - LOWEST_STATUS; // any int has one
    TBR_LOG("ERROR") << "No error message for status: " << index << std::endl;
    return "Unknown message for this status";
}

CaToolServerFactory::CaToolServerFactory()
{
    std::cout << "CaToolServerFactory constructor" << std::endl;
}

CaToolServerFactory::CaToolServerFactory(const CaToolServerFactory&) = default;

CaToolServerFactory& CaToolServerFactory::operator=(const CaToolServerFactory&) = default;

CaToolServerFactory::~CaToolServerFactory()
{
    std::cout << "CaToolServerFactory destructor" << std::endl;
}
