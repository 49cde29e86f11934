#!/usr/bin/python3
"""Runs a systemd service's command under the main limits of its unit, where no systemd runs (in a container, say).

usage: sandboxed.py UNIT STATE_FOLDER [COMMAND...]

The limits are read from the unit: User (if the caller is root, an account that owns nothing), NoNewPrivileges,
ProtectSystem=strict with STATE_FOLDER as the only place to write, RestrictAddressFamilies, MemoryDenyWriteExecute,
SystemCallFilter, LimitNOFILE, UMask, and the empty environment. All its other settings need systemd itself. COMMAND, if
there is one, takes the place of the unit's ExecStart, which finds its $OPTIONS in the caller's environment.
Where mounting is not permitted, or the root is a folder of another system's (chroot), a line on standard error that
begins with NO_MOUNTS says so.
"""
import ctypes
import errno
import mmap
import os
import resource
import shlex
import socket
import subprocess
import sys

import seccomp

ACCOUNT = 64999
CLONE_NEWNS = 0x20000
KERNEL_FILES = ("/dev", "/proc", "/sys")
NO_MOUNTS = "sandboxed: the file system stays writable: "


def settings_of(unit):
    """All values of each setting in the unit's [Service] section, in their order."""
    settings, section = {}, ""
    with open(unit, encoding="utf-8") as lines:
        for line in (line.strip() for line in lines):
            if line.startswith("["):
                section = line
            elif section == "[Service]" and "=" in line and not line.startswith("#"):
                name, value = line.split("=", 1)
                settings.setdefault(name, []).append(value)
    return settings


def command_of(settings):
    command = []
    for word in settings["ExecStart"][0].split():
        command += shlex.split(os.environ.get(word[1:], "")) if word.startswith("$") else [word]
    return command


def system_calls(group):
    """The names of a group such as @system-service, of the groups in it, too."""
    text = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", group], check=True,
                          stdout=subprocess.PIPE, universal_newlines=True).stdout
    names = set()
    for word in (line.strip() for line in text.splitlines()[1:]):
        if word.startswith("@"):
            names |= system_calls(word)
        elif word and not word.startswith("#"):
            names.add(word)
    return names


def permitted_calls(settings):
    permitted = set()
    for line in settings["SystemCallFilter"]:
        names = set().union(*(system_calls(group) for group in line.lstrip("~").split()))
        permitted = permitted - names if line.startswith("~") else permitted | names
    return permitted


def limit(default, rules):
    """Loads a filter; of several the kernel takes the strictest answer. NoNewPrivileges comes with it."""
    calls = seccomp.SyscallFilter(defaction=default)
    for action, name, *conditions in rules:
        if seccomp.resolve_syscall(seccomp.Arch(), name) != -1:  # libseccomp may be older than systemd's lists
            calls.add_rule(action, name, *conditions)
    calls.load()


def limit_system_calls(settings, permitted):
    families = {getattr(socket, name) for name in settings["RestrictAddressFamilies"][0].split()}
    no_family = seccomp.ERRNO(errno.EAFNOSUPPORT)
    limit(seccomp.ALLOW, [(no_family, "socket", seccomp.Arg(0, seccomp.EQ, family))
                          for family in range(64) if family not in families])
    if settings["MemoryDenyWriteExecute"] == ["yes"]:
        denied, both = seccomp.ERRNO(errno.EPERM), mmap.PROT_WRITE | mmap.PROT_EXEC
        executable = seccomp.Arg(2, seccomp.MASKED_EQ, mmap.PROT_EXEC, mmap.PROT_EXEC)
        limit(seccomp.ALLOW, [(denied, "mmap", seccomp.Arg(2, seccomp.MASKED_EQ, both, both)),
                              (denied, "mprotect", executable), (denied, "pkey_mprotect", executable)])
    denied = seccomp.ERRNO(getattr(errno, settings["SystemCallErrorNumber"][0]))
    limit(denied, [(seccomp.ALLOW, name) for name in sorted(permitted)])


def mount_points():
    with open("/proc/self/mountinfo", encoding="utf-8") as lines:
        return [line.split()[4].replace("\\040", " ") for line in lines]


def make_read_only(state):
    """Mounts of this process alone: all file systems but the kernel's own can be read only, except `state`."""
    if "/" not in mount_points():
        print(NO_MOUNTS + "the root is not a mount of its own", file=sys.stderr, flush=True)
        return
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNS) != 0:
        print(NO_MOUNTS + os.strerror(ctypes.get_errno()), file=sys.stderr, flush=True)
        return
    subprocess.run(["mount", "--make-rprivate", "/"], check=True)
    subprocess.run(["mount", "--bind", state, state], check=True)
    for point in dict.fromkeys(mount_points()):
        is_kernels = any(point == one or point.startswith(one + "/") for one in KERNEL_FILES)
        if point != state and not is_kernels:
            subprocess.run(["mount", "-o", "remount,bind,ro", point], check=True)


def give_up_privileges():
    if os.getuid() == 0:
        os.setgroups([])
        os.setgid(ACCOUNT)
        os.setuid(ACCOUNT)  # and with it all capabilities


def main():
    unit, state, *command = sys.argv[1:]
    settings = settings_of(unit)
    state = os.path.realpath(state)
    command = command or command_of(settings)
    permitted = permitted_calls(settings)
    if settings["ProtectSystem"] == ["strict"]:
        make_read_only(state)
    os.chdir(state)
    os.umask(int(settings["UMask"][0], 8))
    files = int(settings["LimitNOFILE"][0])
    resource.setrlimit(resource.RLIMIT_NOFILE, (files, files))
    give_up_privileges()
    limit_system_calls(settings, permitted)
    os.execve(command[0], command, {"PATH": "/usr/bin:/bin"})


if __name__ == "__main__":
    main()
