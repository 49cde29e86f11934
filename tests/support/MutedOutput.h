#pragma once

#include <iostream>
#include <streambuf>

/// Takes what is printed to std::cout while it lives, from any thread, and drops it: for tests that make so many tools
/// that their announcements would bury everything else.
class MutedOutput
{
public:
    MutedOutput() : m_Former(std::cout.rdbuf(&m_Nothing)) {}
    ~MutedOutput() { std::cout.rdbuf(m_Former); }
    MutedOutput(const MutedOutput&) = delete;
    MutedOutput& operator=(const MutedOutput&) = delete;

private:
    class Nothing : public std::streambuf
    {
    protected:
        int_type overflow(int_type character) override { return traits_type::not_eof(character); }
        std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
    };

    Nothing m_Nothing;
    std::streambuf* const m_Former;
};
