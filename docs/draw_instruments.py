#!/usr/bin/env python3
"""Draws the instruments' imaginary points and axes into docs/instruments/, one SVG file each.

    docs/draw_instruments.py          writes the drawings
    docs/draw_instruments.py --check  tells whether the drawings are those that would be written (exit status 0 or 1)

Markers and imaginary points are those of the simulated camera's built-in scene, so the drawings show what it shows.
"""

import configparser
import pathlib
import sys

DOCS = pathlib.Path(__file__).resolve().parent
SCENE = DOCS.parent / "modules" / "SimulatedCamera" / "scenes" / "builtin.ini"
TARGET = DOCS / "instruments"

SCALE = 1.6  # pixels per millimetre
MARGIN = 60  # pixels around the drawing
ROOM_FOR_TEXT = 250  # pixels to the right of it
X, Y, Z = 0, 1, 2

# What is drawn of each instrument besides markers and imaginary points, all in the rigid body's frame in millimetres:
# the coordinates that go right and up, what the imaginary points are, outlines of the body, arrows (from, to, text),
# and marked points (position, text).
INSTRUMENTS = {
    "DynamicReference": dict(
        title="DynamicReference, seen by the camera", view=(X, Y),
        points=["0: a mark, for instance the one that the pointer touches"],
        outlines=[[(-50, 40, 0), (55, 35, 0), (45, -45, 0), (-35, -50, 0)], [(0, -45, 0), (0, -70, 5)]],
        arrows=[((0, 0, 0), (25, 0, 0), "x"), ((0, 0, 0), (0, 25, 0), "y")], marks=[]),
    "Pointer": dict(
        title="PointerTool, seen by the camera", view=(X, Y), points=["0: tip"],
        outlines=[[(0, 60, 0), (-25, 15, 0), (0, -40, 0), (25, 0, 0)], [(0, -40, 0), (0, -180, -20)]],
        arrows=[], marks=[]),
    "DrillGuide": dict(
        title="DrillGuide, seen by the camera", view=(X, Y),
        points=["0: where the drill comes out", "1: entry point"],
        outlines=[[(-40, 0, 0), (0, 35, 0), (10, -35, 0)], [(54, 20, 0), (54, -20, 0)], [(66, 20, 0), (66, -20, 0)],
                  [(10, 0, 0), (54, 0, 0)]],
        arrows=[((60, 20, 0), (60, -20, 0), "drillAxis = point 0 - point 1")], marks=[]),
    "Drill": dict(
        title="DrillTool, seen from its left", view=(Z, Y),
        points=["0: front of the body", "1: back of the body"],
        outlines=[[(0, 60, -52), (0, 60, -28), (0, -60, -28), (0, -60, -52)], [(0, 0, -28), (0, 0, 0)]],
        arrows=[((0, 60, -40), (0, -60, -40), "bodyAxis = point 0 - point 1"),
                ((0, -60, -40), (0, -180, -40), "drillAxis, from the front to the tip")],
        marks=[((0, -180, -40), "tip; after binding one body length from the front")]),
    "BurrCalibrator": dict(
        title="BurrCalibrator, seen from above", view=(X, Z),
        points=["0: corner behind point 1", "1: corner", "2: corner beside point 1"],
        outlines=[[(-17.5, 0, -65), (-17.5, 0, -20), (17.5, 0, -20), (17.5, 0, -65)]],
        arrows=[((-17.5, -40, -20), (-4.5, -40, -20), "u"), ((-17.5, -40, -20), (-17.5, -40, -46), "v")],
        marks=[((-15, -42.45, -30), "5 mm hole"), ((15, -42.45, -30), "8 mm hole"),
               ((-0.5, -29.5, -62.5), "calibration point 0"), ((-0.5, -29.5, -20), "calibration point 1")],
        scale=6.0, text_shifts=[-10, 20, 20], note="n = u x v points to the viewer", markers=False),
    "RoundBurr": dict(
        title="RoundBurrTool, seen from its left", view=(Z, Y),
        points=["0: tip of the head; its centre once the radius is set", "1: a point on the shaft"],
        outlines=[[(0, -30, -38), (0, -30, -22), (0, 30, -22), (0, 30, -38)], [(0, 0, -22), (0, 0, 0)],
                  [(0, -30, -30), (0, -142, -30)]],
        arrows=[((0, -50, -30), (0, -120, -30), "u = point 0 - point 1, of unit length")],
        marks=[], circles=[((0, -146, -30), 4)]),
    "CArmBase": dict(
        title="CArmBase, seen by the camera", view=(X, Y), points=["0: middle of the foot"], text_shifts=[18],
        outlines=[[(-85, 85, 0), (90, 85, 0), (85, -88, 0), (-80, -88, 0)]],
        arrows=[((0, 0, 0), (25, 0, 0), "x"), ((0, 0, 0), (0, 25, 0), "y")], marks=[]),
}


def read_points(text):
    return [tuple(float(number) for number in point.split()) for point in text.split(",")]


def read_scene():
    """Markers and imaginary points of every tool of the built-in scene."""
    scene = configparser.ConfigParser(inline_comment_prefixes=("#", ";"))
    scene.read_string(SCENE.read_text(encoding="utf-8"))
    return {name.split(" ", 1)[1]: (read_points(scene[name]["markers"]), read_points(scene[name]["imaginaries"]))
            for name in scene.sections() if name.startswith("Tool ")}


class Drawing:
    """An SVG in the making; points are given in millimetres in the rigid body's frame."""

    def __init__(self, instrument, points):
        self.right, self.up = instrument["view"]
        # Seen from above, what lies behind is up; seen from the left, the camera's side (+z) is to the right.
        self.up_sign = -1 if self.up == Z else 1
        self.scale = instrument.get("scale", SCALE)
        flat = [self.flat(point) for point in points]
        self.left = min(x for x, _ in flat)
        self.top = max(y for _, y in flat)
        self.width = (max(x for x, _ in flat) - self.left) * self.scale + 2 * MARGIN + ROOM_FOR_TEXT
        self.height = (self.top - min(y for _, y in flat)) * self.scale + 2 * MARGIN + 20
        self.elements = []

    def flat(self, point):
        return point[self.right], self.up_sign * point[self.up]

    def place(self, point):
        x, y = self.flat(point)
        return MARGIN + (x - self.left) * self.scale, MARGIN + (self.top - y) * self.scale

    def add(self, element):
        self.elements.append(element)

    def text(self, x, y, text, style="label"):
        escaped = text.replace("&", "&amp;").replace("<", "&lt;")
        self.add(f'<text x="{x:.1f}" y="{y:.1f}" class="{style}">{escaped}</text>')

    def outline(self, points):
        path = " ".join("{:.1f},{:.1f}".format(*self.place(point)) for point in points)
        shape = "polygon" if len(points) > 2 else "polyline"
        self.add(f'<{shape} points="{path}" class="body"/>')

    def circle(self, point, radius, style):
        x, y = self.place(point)
        self.add(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{radius:.1f}" class="{style}"/>')

    def arrow(self, begin, end, text):
        (x1, y1), (x2, y2) = self.place(begin), self.place(end)
        self.add(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="axis" '
                 'marker-end="url(#head)"/>')
        self.text((x1 + x2) / 2 + 8, (y1 + y2) / 2 - 6, text, "axisname")

    def cross(self, point, style, text, text_shift=5):
        x, y = self.place(point)
        self.add(f'<path d="M{x - 5:.1f} {y - 5:.1f}l10 10m0 -10l-10 10" class="{style}"/>')
        self.text(x + 9, y + text_shift, text, style + "name")

    def svg(self, title, notes):
        body = "\n".join(self.elements)
        lines = "\n".join(f'<text x="{MARGIN / 2:.1f}" y="{self.height - 12 - 16 * i:.1f}" class="note">{note}</text>'
                          for i, note in enumerate(reversed(notes)))
        return f"""<svg xmlns="http://www.w3.org/2000/svg" width="{self.width:.0f}" height="{self.height:.0f}">
<title>{title}</title>
<style>
text {{ font: 13px sans-serif; fill: #333 }} .title {{ font-weight: bold }} .note {{ fill: #666; font-size: 12px }}
.body {{ fill: #eef1f4; stroke: #9aa5b1 }} .marker {{ fill: #b8c1cc; stroke: #6b7785 }}
.axis {{ stroke: #1464a5; stroke-width: 2 }} .axisname {{ fill: #1464a5 }}
.imaginary {{ stroke: #c0262d; stroke-width: 2; fill: none }} .imaginaryname {{ fill: #c0262d }}
.mark {{ stroke: #2b7a3d; stroke-width: 2; fill: none }} .markname {{ fill: #2b7a3d }}
</style>
<defs><marker id="head" markerWidth="9" markerHeight="8" refX="8" refY="4" orient="auto"><path d="M0 0L9 4L0 8z"
fill="#1464a5"/></marker></defs>
<rect width="100%" height="100%" fill="#fff"/>
<text x="{MARGIN / 2:.1f}" y="24" class="title">{title}</text>
{body}
{lines}
</svg>
"""


def draw(instrument, markers, imaginaries):
    shows_markers = instrument.get("markers", True)
    shown = list(imaginaries) + [point for point, _ in instrument["marks"]]
    shown += [point for arrow in instrument["arrows"] for point in arrow[:2]]
    shown += markers if shows_markers else []
    drawing = Drawing(instrument, shown)
    for outline in instrument["outlines"]:
        drawing.outline(outline)
    for centre, radius in instrument.get("circles", []):
        drawing.circle(centre, radius * drawing.scale, "body")
    for marker in markers if shows_markers else []:
        drawing.circle(marker, 5, "marker")
    for begin, end, text in instrument["arrows"]:
        drawing.arrow(begin, end, text)
    for point, text in instrument["marks"]:
        drawing.cross(point, "mark", text)
    shifts = instrument.get("text_shifts", [5] * len(imaginaries))  # pixels down, out of the way of other texts
    for point, text, shift in zip(imaginaries, instrument["points"], shifts):
        drawing.cross(point, "imaginary", text, shift)
    notes = [instrument["note"]] if "note" in instrument else []
    notes.append("red: imaginary points" + (", grey: markers" if shows_markers else "; the markers are not shown"))
    return drawing.svg(instrument["title"], notes)


def main():
    scene = read_scene()
    is_same = True
    for name, instrument in INSTRUMENTS.items():
        file = TARGET / (name + ".svg")
        svg = draw(instrument, *scene[name])
        if "--check" not in sys.argv[1:]:
            TARGET.mkdir(exist_ok=True)
            file.write_text(svg, encoding="utf-8")
        elif not file.exists() or file.read_text(encoding="utf-8") != svg:
            print(f"{file.name} is not what draw_instruments.py draws")
            is_same = False
    return 0 if is_same else 1


if __name__ == "__main__":
    sys.exit(main())
