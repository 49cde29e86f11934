#include <tbrCore/Settings.h>

#include <cstdio>

/// Prints the value of each key that is named, one a line, as a fresh process reads it from the environment's settings.
int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        std::puts(tbr::Settings::getInstance().get(argv[i], "<not set>").c_str());
}
