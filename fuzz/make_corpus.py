#!/usr/bin/env python3
"""Writes the seeds from which the fuzz targets start, and their dictionaries.

    make_corpus.py SOURCE_DIR OUTPUT_DIR

For each target: OUTPUT_DIR/TARGET/* are its seeds, OUTPUT_DIR/TARGET.seeds lists them as libFuzzer's -seed_inputs takes
them, OUTPUT_DIR/TARGET.dict is its dictionary. The bytes are put together here from docs/protocol.md and
docs/log-format.md, not by the code that is fuzzed.
"""
import pathlib
import shutil
import struct
import sys

TOOLS = ["Probe", "Full", "TooFull", "L" * 40, "Refused", "Throws", "Hidden", "Nobody", "CAM", ""]
ACKNOWLEDGE = 20


def frame(payload):
    """A packet as it travels: its length, the most significant byte first, and its bytes."""
    return struct.pack(">H", len(payload)) + payload


def head(kind):
    return bytes([kind, 0, 0, 0])


def text(value, size):
    return value.encode()[:size].ljust(size, b"\0")


class Order:
    """The numbers of a session's packets in the byte order that was agreed on: '<' this host's, '>' swapped."""

    def __init__(self, mark):
        self.mark = mark

    def ints(self, *values):
        return struct.pack(f"{self.mark}{len(values)}i", *values)

    def floats(self, *values):
        return struct.pack(f"{self.mark}{len(values)}f", *values)

    def points(self, count, room):
        """A count and that many points in their room."""
        return self.ints(count) + self.floats(*range(3 * count)).ljust(12 * room, b"\0")


def connect(version=1, probe=b"\0\0\0\1"):
    return head(21) + struct.pack(">i", version) + probe


def tool_init(order, slot, name, reals, imaginaries):
    return (head(36) + order.ints(slot) + text(name, 32) + order.ints(14) + order.points(reals, 32)
            + order.points(imaginaries, 8) + order.ints(7) + text("Owner", 12) + order.ints(0, 20240101, 1))


def requests(order):
    """Every kind of request: kind -> payloads."""
    named = {kind: [head(kind) + text(name, 32) for name in TOOLS] for kind in (24, 25, 27, 29, 38)}
    bare = {kind: [head(kind)] for kind in (22, 23, 26, 28, 30, 31, 32, 50)}
    limits = order.ints(60, 3) + order.floats(0.5, 1.3)
    return {
        **named, **bare,
        33: [head(33) + order.ints(switch, pressed) for switch in (0, 1) for pressed in (0, 1)],
        34: [head(34) + text(name, 32) + order.points(count, 32) + limits
             for name, count in (("Probe", 4), ("Full", 32), ("Refused", 3), ("Throws", 3), ("Probe", -1))],
        35: [head(35) + text(name, 32) + order.points(2, 8)
             for name in ("Probe", "Full", "TooFull", "Refused", "Throws")],
        36: [tool_init(order, slot, name, reals, imaginaries)
             for slot, name, reals, imaginaries in ((1, "New", 4, 2), (9, "Probe", 32, 8), (-1, "", 0, 0))],
        37: [head(37) + bytes([1]) * 256, head(37) + bytes(256)],
        39: [head(39)],
    }


def session_streams():
    """Streams of a client: name -> bytes."""
    streams = {"nothing": b"", "no_bytes": b"\0\0", "unconnected": frame(head(23)), "exit": frame(head(50)),
               "wrong_version": frame(connect(2)) + frame(head(23)), "half_header": b"\0",
               "half_payload": frame(connect())[:9], "long": frame(head(22) + bytes(3000))}
    for name, order, probe in (("host", Order("<"), b"\0\0\0\1"), ("swapped", Order(">"), b"\1\0\0\0")):
        hello = frame(connect(probe=probe))
        for kind, payloads in requests(order).items():
            streams[f"{name}_{kind}"] = hello + b"".join(map(frame, payloads))
        reference = frame(head(24) + text("Probe", 32)) + frame(head(37) + bytes([1]) * 256)
        streams[f"{name}_reference"] = hello + reference + b"".join(
            frame(head(kind)) for kind in (30, 28, 31)) + frame(head(29) + text("Full", 32))
        new = frame(tool_init(order, 1, "New", 3, 1))
        streams[f"{name}_new_tool"] = hello + new + frame(head(30)) + frame(head(23)) + new + frame(head(30))
    return streams


def frame_scripts():
    """Scripts of the frame-assembly target: an operation's byte and its arguments."""
    def arrive(payload):
        return bytes([0, len(payload)]) + payload
    read, read_copy, finish, write = bytes([5, 0]), bytes([8, 0]), bytes([3]), bytes([9, 3]) + b"abc"
    packet = frame(b"hello")
    return {
        "whole": arrive(packet) + read + finish + read + read,
        "bytewise": b"".join(arrive(packet[i:i + 1]) + read for i in range(len(packet))),
        "two": arrive(packet + packet) + read + read_copy + read,
        "empty": arrive(b"\0\0") + read + read,
        "largest": arrive(b"\xff\xff") + read + bytes([2, 255, 255, 7]) + read,
        "cut": arrive(packet[:4]) + read + finish + read + read,
        "unblocked": bytes([4]) + bytes([5, 3]) + arrive(packet[:1]) + bytes([5, 3]) * 2,
        "write": write + bytes([10, 128, 48, 0]) + bytes([10, 0, 0, 1]) + bytes([11, 0, 4]) + write + write,
    }


def big(*values):
    return struct.pack(f">{len(values)}i", *values)


def big_floats(*values):
    return struct.pack(f">{len(values)}f", *values)


def log_tool(name, reals, normals, imaginaries):
    """A slot with a tool in a tracking log."""
    def points(count, room):
        return big(count) + big_floats(*range(3 * min(count, room))).ljust(12 * room, b"\xaa")
    record = (text(name, 32) + text("Second", 32) + big(14) + points(reals, 32) + points(normals, 32)
              + points(imaginaries, 8) + big(5, 1, 60) + big_floats(0.5, 0.25) + big(2, 3))
    assert len(record) == 972
    return b"TL1\0" + record


def log_files():
    header = b"Pardel special-TS3 log-file format (10/2003).\0"

    def tools(*slots):
        return b"T" + big(len(slots)) + b"".join(slots)

    def poses(*reals):
        return b"P" + big(1704067200, 500000) + b"".join(
            big_floats(*range(3 * count), 1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 20, 30) for count in reals)
    two = tools(log_tool("Pointer", 2, 1, 1), b"TL0\0")
    hidden = b"P" + big(0, 0) + big_floats(*[-3e28] * 18)
    return {
        "two_frames": header + two + poses(2) + hidden,
        "three_tools": header + tools(log_tool("A", 3, 3, 0), b"TL0\0", log_tool("B", 32, 32, 8)) + poses(3, 32) * 2,
        "list_changes": header + two + poses(2) + two + poses(2) * 3,
        "no_frame": header + two,
        "no_tools": header + tools(b"TL0\0") + poses(),
        "cut": header + two + poses(2) + poses(2)[:40],
        "too_many_markers": header + tools(log_tool("Pointer", 33, 0, 9)) + poses(33),
        "too_many_slots": header + b"T" + big(-1) + b"TL0\0",
        "no_log": b"Pardel special-TS3 log-file format (11/2003).\0",
    }


def answer_packets():
    """What a server may answer: name -> payloads, in this host's order."""
    order = Order("<")
    identity = order.floats(1, 0, 0, 0, 1, 0, 0, 0, 1) + order.floats(5, 6, 7) + order.floats(0.25)
    ack = head(ACKNOWLEDGE)

    def description(slot, name, reals, imaginaries):
        return bytes([23]) + tool_init(order, slot, name, reals, imaginaries)[1:]

    def error(code, message):
        return head(99) + struct.pack(">i", code) + text(message, 256)

    def points(kind, name, count, room):
        return head(kind) + text(name, 32) + order.points(count, room) + order.floats(0.25)

    def claiming(payload, *counts):
        """The same with other counts at these offsets: (offset, count)."""
        for offset, count in counts:
            payload = payload[:offset] + order.ints(count) + payload[offset + 4:]
        return payload

    def broken(payload, offset, number):
        """The same with a float that is no number."""
        return payload[:offset] + order.floats(number) + payload[offset + 4:]
    tools = [description(0, "Probe", 4, 2), description(1, "Full", 32, 8), ack]
    pose = head(30) + text("Probe", 32) + identity
    normals = head(ACKNOWLEDGE) + text("Probe", 32) + order.points(4, 32) + order.ints(60, 3) + order.floats(0.5, 1)
    return {
        "acknowledgements": [ack] * 8,
        "errors": [error(code, "an error") for code in (6, 7, 8, 9, 11, 13, 14, 15, 16, 18, -3, 1000)],
        "tools": tools,
        "poses": [pose, error(8, "Tools is not in view."), ack],
        "pose": [head(29) + text("Probe", 32) + identity] * 3,
        "imaginaries": [points(28, "Probe", 2, 8), points(28, "Full", 8, 8), ack],
        "imaginary": [points(ACKNOWLEDGE, "Probe", 2, 8)] * 3,
        "markers": [points(26, "Probe", 4, 32), points(26, "Full", 32, 32), ack],
        "marker": [points(ACKNOWLEDGE, "Probe", 4, 32)] * 3,
        "too_many": [claiming(points(ACKNOWLEDGE, "Probe", 8, 8), (36, 43))],
        "too_many_tools": [claiming(tools[1], (44, 42), (432, 10)), claiming(tools[1], (432, 9)), ack],
        "too_many_markers": tools + [claiming(points(26, "Full", 32, 32), (36, 33)), ack,
                                     claiming(points(ACKNOWLEDGE, "Full", 32, 32), (36, 43))],
        "too_many_imaginaries": tools + [claiming(points(28, "Full", 8, 8), (36, 9)), ack],
        "no_numbers": [broken(pose, 72, float("nan")), broken(pose, 36, float("inf")), ack],
        "no_number": [broken(bytes([29]) + pose[1:], 76, float("nan"))],
        "no_points": [broken(points(28, "Probe", 2, 8), 40, float("inf")), ack],
        "switch": [head(32) + order.ints(1, 1)] * 2,
        "normals": [normals] * 2,
        "changes": [error(6, "Toolchange")] + tools + [ack],
        "connect": [connect()],
    }


def client_inputs(operations):
    """Operations that suit the answers, in a field of 31 bytes behind one of flags; then the answers' stream."""
    good_start = 128  # the connection is agreed on before the stream begins
    inputs = {}
    for name, payloads in answer_packets().items():
        stream = b"".join(map(frame, payloads))
        for chosen, bytes_ in operations.items():
            inputs[f"{name}_{chosen}"] = bytes([good_start]) + bytes_.ljust(31, b"\0")[:31] + stream
        late = bytes([1, 24, 2, 24, 24, 4, 25, 24, 26] * 3).ljust(31, b"\x18")  # asks, and lets answers arrive
        inputs[f"{name}_late"] = bytes([good_start + 32]) + late + stream
        inputs[f"{name}_slowly"] = bytes([good_start + 3]) + bytes(range(31)) + stream
    inputs["flood"] = bytes([good_start, 27] + [4, 1, 2, 3] * 7 + [0, 0]) + b"".join(
        map(frame, answer_packets()["poses"])) * 8
    inputs["unconnected"] = bytes(32) + frame(connect())
    return inputs


SETTINGS = {
    "usual": b"[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=TSClient\n; comment\n# comment\n",
    "general": b"[General]\na=1\n[%General]\nb=2\nc = \" x \" ; comment\n",
    "escapes": rb'[S%20e]' + b"\n" + rb'k%U20AC=\x41\x42c\n\"\0 "a;b" @@x' + b"\nlist=1, 2, 3\n",
    "mark": b"\xef\xbb\xbf[A]\nb=c\n",
    "bad": b"[A\nb\n=c\n",
    "open": b"[A]\nb=\"c\n",
}

DICTIONARIES = {
    "SessionRequests": TOOLS[:-1] + ["\\x00\\x00\\x00\\x01", "\\x01\\x00\\x00\\x00"],
    "ReplayFile": ["TL1\\x00", "TL0\\x00", "T", "P", "\\xee\\xc1\\xde\\xd6"],
    "ClientAnswers": ["Probe", "Full", "CAM", "\\x00\\x00\\x80\\x7f", "\\x00\\x00\\xc0\\x7f"],
    "ToolListAnswers": ["Probe", "Full", "CAM", "\\x00\\x00\\x80\\x7f", "\\x00\\x00\\xc0\\x7f"],
    "SettingsFile": ["[General]", "[%General]", "[A]", "=", "%20", "%U20AC", "\\\\x41", "\\\\n", "\\\"", "@@", ";",
                     "#"],
    "SceneFile": """[Scene] [Footswitch] [Tool\\x20A] rate seed loop noise slots period presses name secondName owner
        id groupId type plugs startCalibrationPoint averaging markers normals imaginaries angleLimit minMarkers max3D
        maxRMS occlusions plugged movesIn motion point still orbit pivot path position rotation axis radius tilt
        waypoints all = , # ; 1e308 -1 nan inf 0x1 9223372036854775807""".split(),
}


def scenes(source):
    folder = pathlib.Path(source, "modules", "SimulatedCamera", "scenes")
    inputs = {file.stem: file.read_bytes() for file in folder.glob("*.ini")}
    tool = b"[Tool A]\nmarkers = 0 0 0, 50 0 0, 0 80 0\n"
    inputs["small"] = tool
    inputs["moves"] = (b"[Scene]\nrate = 100\nloop = 9\n" + tool + b"normals = 0 0 1\nmotion = path\n"
                       b"waypoints = 0 0 0 -2000 0 0 0, 1 10 0 -2000 0 90 0\n[Tool B]\nmovesIn = A\n"
                       b"markers = 0 0 0, 50 0 0, 0 80 0\nmotion = orbit\nposition = 0 0 100\nplugged = 1 2, 3\n")
    inputs["pivots"] = (b"[Footswitch]\npresses = 1 0.5 0.6\n" + tool + b"motion = pivot\ntilt = 30\npoint = 0 0 9\n"
                        b"occlusions = 0 0 1, all 2 3\naveraging = 3\nmax3D = 0.5\nimaginaries = 1 2 3\n")
    return inputs


def write(folder, target, inputs):
    directory = folder / target
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    for name, data in inputs.items():
        (directory / name).write_bytes(data)
    (folder / f"{target}.seeds").write_text(",".join(sorted(str(file) for file in directory.iterdir())))
    words = "".join(f'"{word}"\n' for word in DICTIONARIES.get(target, []))
    (folder / f"{target}.dict").write_text("# Words that mean something to the target.\n" + words)


def main():
    source, folder = sys.argv[1], pathlib.Path(sys.argv[2]).absolute()
    all_operations = {"forwards": bytes(range(31)), "backwards": bytes(range(31, 0, -1)), "first": bytes(31)}
    once_each = {f"only_{operation}": bytes([operation] * 3) for operation in range(28)}
    write(folder, "SessionRequests", session_streams())
    write(folder, "FrameAssembly", frame_scripts())
    write(folder, "ReplayFile", log_files())
    write(folder, "ClientAnswers", client_inputs({**all_operations, **once_each}))
    write(folder, "ToolListAnswers", client_inputs(all_operations))
    write(folder, "SettingsFile", SETTINGS)
    write(folder, "SceneFile", scenes(source))


if __name__ == "__main__":
    main()
