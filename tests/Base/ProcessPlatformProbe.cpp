#include <tbrBase/ProcessPlatform.h>

#include <cstdio>

/// Says whether its standard output is a terminal.
int main()
{
    std::puts(tbr::platform::isStandardOutputTerminal() ? "a terminal" : "no terminal");
}
