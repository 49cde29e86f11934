"""Tries what a service's sandbox permits and what it denies; writes "ATTEMPT: done" or the system's reason for each.

usage: SandboxProbe.py FOREIGN_FILE    (a file to write outside of the service's own folder)
"""
import mmap
import os
import socket
import sys

FAMILIES = ("AF_INET", "AF_INET6", "AF_UNIX", "AF_NETLINK", "AF_PACKET")
ATTEMPTS = {
    "write here": lambda: open("probe", "w"),
    "write elsewhere": lambda: open(sys.argv[1], "w"),
    "write and execute memory": lambda: mmap.mmap(-1, mmap.PAGESIZE, prot=mmap.PROT_WRITE | mmap.PROT_EXEC),
    "raise the priority": lambda: os.nice(-1),
    "change the root": lambda: os.chroot("/"),
    "become root": lambda: os.setuid(0),
    **{"open " + family: lambda family=family: socket.socket(getattr(socket, family)) for family in FAMILIES},
}

for attempt, act in ATTEMPTS.items():
    try:
        act()
        print(attempt + ": done")
    except OSError as error:
        print(attempt + ": " + error.strerror)
