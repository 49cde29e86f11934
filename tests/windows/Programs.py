"""The programs of both systems in the hands of a test, and a client that knows bytes only."""
import os
import pathlib
import re
import socket
import struct
import subprocess
import tempfile
import time

WINE = os.environ["TBR_WINE"]
PATIENCE = 120  # seconds; a busy machine starts Wine slowly
NO_SETTINGS = tempfile.NamedTemporaryFile(suffix=".ini")  # nothing depends on the user


class System:
    """Where a system's programs are, and how they are started here."""

    def __init__(self, name, folder, launcher=(), suffix="", variables=None):
        self.name = name
        self.folder = pathlib.Path(folder)
        self.launcher = list(launcher)
        self.suffix = suffix
        self.environment = {**os.environ, "TBR_SETTINGS": NO_SETTINGS.name, **(variables or {})}

    def command(self, program, *arguments):
        return [*self.launcher, str(self.folder / "bin" / (program + self.suffix)), *map(str, arguments)]

    def run(self, program, *arguments):
        """What a program that must succeed writes, with lines that end as on this system."""
        done = subprocess.run(self.command(program, *arguments), env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=PATIENCE)
        if done.returncode != 0:
            raise AssertionError(f"{self.name}: {program} ended with {done.returncode}: {done.stderr.decode()}")
        return done.stdout.decode().replace("\r\n", "\n")


def host():
    return System("host", os.environ["TBR_HOST_BUILD"])


def windows():
    return windows_in(os.environ["TBR_WINDOWS_BUILD"])


def windows_in(folder, variables=None):
    return System("windows", folder, [WINE], ".exe", {"TBR_SETTINGS": "Z:" + NO_SETTINGS.name, **(variables or {})})


class Server:
    """A tool server on a loopback port of the system's choice."""

    def __init__(self, system, *arguments):
        self.process = subprocess.Popen(
            system.command("toolserver", "--bind", "127.0.0.1", "--port", "0", "--quiet", *arguments),
            env=system.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for line in self.process.stdout:
            match = re.match(r"listening on 127\.0\.0\.1:(\d+)", line.decode())
            if match:
                self.port = int(match.group(1))
                return
        raise AssertionError(f"{system.name}: no server: {self.process.communicate()[1].decode()}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate(timeout=PATIENCE)


class Client:
    """A client in host order, byte by byte."""

    CONNECT, TOOL_CHECK, MARKER, POSE = 21, 23, 25, 29
    ACKNOWLEDGE, FAILURE = 20, 99

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), PATIENCE)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.greeting = self.ask(struct.pack(">Bxxxii", self.CONNECT, 1, 1))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def ask(self, packet):
        self.socket.sendall(struct.pack(">H", len(packet)) + packet)
        return self.receive()

    def ask_about(self, kind, tool):
        return self.ask(struct.pack("Bxxx32s", kind, tool.encode()))

    def list_tools(self):
        """All answers to the question which tools there are, the closing one included."""
        answers = [self.ask(struct.pack("Bxxx", self.TOOL_CHECK))]
        while answers[-1][0] not in (self.ACKNOWLEDGE, self.FAILURE):
            answers.append(self.receive())
        return answers

    def receive(self):
        return self._exactly(*struct.unpack(">H", self._exactly(2)))

    def _exactly(self, size):
        data = b""
        while len(data) < size:
            piece = self.socket.recv(size - len(data))
            if not piece:
                raise AssertionError("the server has closed the connection")
            data += piece
        return data


def record(system, file, seconds=1.0):
    """Has a server record its simulated camera; returns the names of the tools."""
    with Server(system, "--log", file) as server:
        names = tool_names(system, server.port)
        time.sleep(seconds)  # the recording is to be that long
    return names


def tool_names(system, port):
    lines = system.run("toolclient", "--host", "127.0.0.1", "--port", port, "--csv", "list").splitlines()
    column = lines[0].split(",").index("name")
    return [line.split(",")[column] for line in lines[1:]]


def replayed(system, file, names):
    """Every answer that a replay gives: those about the tool set, and all that come for each tool while it repeats."""
    quiet_seconds = 4.0  # several rounds of the recording without anything new
    with Server(system, "--replay", file, "--repeat") as server, Client(server.port) as client:
        tools = client.list_tools()
        answers = set()
        newest = time.monotonic()
        while time.monotonic() < newest + quiet_seconds:
            for name in names:
                for kind in (Client.POSE, Client.MARKER):
                    answer = (name, client.ask_about(kind, name))
                    if answer not in answers:
                        answers.add(answer)
                        newest = time.monotonic()
        return client.greeting, tools, answers
