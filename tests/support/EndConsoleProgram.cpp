#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <windows.h>

namespace
{

/// This program hears the request, too.
BOOL WINAPI goOn(DWORD)
{
    return TRUE;
}

int fail(const char* step)
{
    std::fprintf(stderr, "EndConsoleProgram: %s failed (%lu)\n", step, GetLastError());
    return 1;
}

} // namespace

/// EndConsoleProgram PROCESS ctrl-c|ctrl-break: asks all programs of a process's console to end.
int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const DWORD event = std::strcmp(argv[2], "ctrl-c") == 0 ? CTRL_C_EVENT : CTRL_BREAK_EVENT;
    FreeConsole();
    if (!AttachConsole(std::strtoul(argv[1], nullptr, 10)))
        return fail("AttachConsole");
    if (!SetConsoleCtrlHandler(goOn, TRUE))
        return fail("SetConsoleCtrlHandler");
    if (GenerateConsoleCtrlEvent(event, 0))
        return 0;
    // Wine knows no Ctrl-Break.
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : fail("GenerateConsoleCtrlEvent");
}
