#pragma once

#include <TSClientInterface/CaToolServer.h>

/// Makes the protocol clients of this module.
class TSClientFactory : public CaToolServerFactory
{
public:
    CaToolServer* createInstance() override;
};
