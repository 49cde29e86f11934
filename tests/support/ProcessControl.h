#pragma once

#include <QProcess>

/// What differs between operating systems when a test handles programs. One source per platform keeps these promises.
namespace processcontrol
{

/// Before `process` starts: lets askToEnd() reach it alone, and not the test with it.
void separate(QProcess& process);

/// Asks a program to end, as the system (SIGTERM; Ctrl-Break on Windows) or the user (SIGINT; Ctrl-C) does. Returns
/// whether the request could be sent.
bool askToEnd(QProcess& process, int signal);

/// Lets a program stand still, and go on. Return whether it does.
bool pause(QProcess& process);
bool resume(QProcess& process);

} // namespace processcontrol
