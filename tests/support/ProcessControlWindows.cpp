#include <support/ProcessControl.h>

#include <QCoreApplication>

#include <csignal>

#include <windows.h>

#include <tlhelp32.h>

namespace processcontrol
{

namespace
{

using ThreadOperation = DWORD(WINAPI*)(HANDLE);

/// Applies the operation to every thread of a process; false if one of them refuses or there is none.
bool forEachThread(qint64 processId, ThreadOperation operation)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    int done = 0;
    bool isWell = true;
    for (BOOL found = Thread32First(snapshot, &entry); found; found = Thread32Next(snapshot, &entry))
    {
        if (entry.th32OwnerProcessID != static_cast<DWORD>(processId))
            continue;
        const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID);
        isWell = thread && operation(thread) != static_cast<DWORD>(-1) && isWell;
        CloseHandle(thread);
        ++done;
    }
    CloseHandle(snapshot);
    return isWell && done > 0;
}

} // namespace

void separate(QProcess& process)
{
    // Requests to end reach all programs of a console: this one gets a console that nobody sees.
    process.setCreateProcessArgumentsModifier([](QProcess::CreateProcessArguments* arguments)
                                              { arguments->flags |= CREATE_NO_WINDOW; });
}

bool askToEnd(QProcess& process, int signal)
{
    // Only a program that has left its own console can speak to that of another.
    return QProcess::execute(QCoreApplication::applicationDirPath() + "/EndConsoleProgram",
                             {QString::number(process.processId()), signal == SIGINT ? "ctrl-c" : "ctrl-break"}) == 0;
}

bool pause(QProcess& process)
{
    return forEachThread(process.processId(), SuspendThread);
}

bool resume(QProcess& process)
{
    return forEachThread(process.processId(), ResumeThread);
}

} // namespace processcontrol
