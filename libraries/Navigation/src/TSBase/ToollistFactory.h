#pragma once

#include <TSBase/Export.h>

class Toollist;

/// What a camera module exports: makes the module's tool list.
class TBR_NAVIGATION_EXPORT ToollistFactory
{
public:
    ToollistFactory();
    ToollistFactory(const ToollistFactory&);
    ToollistFactory& operator=(const ToollistFactory&);
    virtual ~ToollistFactory();

    /// A new tool list that the caller owns. The tool server calls this once, on its own thread, and then moves the
    /// list to the camera's thread.
    virtual Toollist* createInstance() = 0;
};
