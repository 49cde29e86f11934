#pragma once

#include <string>

/// The factory interface of the plug-ins in this folder.
class GreeterFactory
{
public:
    virtual ~GreeterFactory() = default;
    virtual std::string greet() const = 0;
};

/// Another factory interface, which nobody asks for.
class ParterFactory
{
public:
    virtual ~ParterFactory() = default;
    virtual std::string part() const = 0;
};
