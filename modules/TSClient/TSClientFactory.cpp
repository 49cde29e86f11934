#include "TSClientFactory.h"

#include "TSClient.h"

#include <tbrCore/DLLFactory.h>

CaToolServer* TSClientFactory::createInstance()
{
    return new TSClient;
}

TBR_EXPORT_FACTORY(CaToolServerFactory, TSClientFactory)
