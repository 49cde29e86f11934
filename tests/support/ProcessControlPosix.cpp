#include <support/ProcessControl.h>

#include <csignal>
#include <sys/wait.h>

namespace processcontrol
{

namespace
{

bool send(QProcess& process, int signal)
{
    return ::kill(static_cast<pid_t>(process.processId()), signal) == 0;
}

} // namespace

void separate(QProcess&) {}

bool askToEnd(QProcess& process, int signal)
{
    return send(process, signal);
}

bool pause(QProcess& process)
{
    siginfo_t state;
    return send(process, SIGSTOP) && ::waitid(P_PID, static_cast<id_t>(process.processId()), &state, WSTOPPED) == 0;
}

bool resume(QProcess& process)
{
    return send(process, SIGCONT);
}

} // namespace processcontrol
