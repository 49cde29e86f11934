#include "../support/ScriptedToolServer.h"

#include <tbrCore/DLLFactory.h>

/// A client-interface module whose tool servers do what a test writes into their scripts.
class ScriptedToolServerFactory : public CaToolServerFactory
{
public:
    CaToolServer* createInstance() override { return new ScriptedToolServer; }
};

TBR_EXPORT_FACTORY(CaToolServerFactory, ScriptedToolServerFactory)
