#pragma once

#include <support/ProgramProcess.h>

#include <string>

/// How commands of the shell ended, and what they wrote.
struct ShellOutcome
{
    int status;
    std::string output;
    std::string errors;
};

/// Runs commands of the shell to their end; the first one that fails is the last one.
inline ShellOutcome runInShell(const std::string& commands, const ProgramProcess::Environment& environment = {})
{
    ProgramProcess shell("/bin/bash", {"-e", "-o", "pipefail", "-c", commands}, environment);
    const int status = shell.exitStatus();
    return {status, shell.standardOutput(), shell.standardError()};
}

/// Whether a command succeeds, which uses what a package brings.
inline bool isThere(const std::string& command)
{
    return runInShell(command).status == 0;
}
