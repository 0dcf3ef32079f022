#!/usr/bin/env python3
"""Draws the plug-in's icons into plugin/res.

Usage: tools/make_icons.py [FOLDER]

Every icon is one row of ICONS: a list of shapes on a grid of 32 units, painted in order. Shapes are signed distance
functions (negative inside, in units), so that edges are smooth at any size. Python's standard library only.
"""
import math
import os
import struct
import sys
import zlib

GRID = 32.0
SIZE = 32

INK = (58, 64, 74)
PAPER = (236, 238, 241)
ACCENT = (255, 140, 40)
BLUE = (70, 130, 205)
GREEN = (88, 170, 92)
RED = (214, 72, 66)
YELLOW = (250, 204, 70)
GRAY = (150, 157, 168)
WHITE = (255, 255, 255)
PURPLE = (142, 96, 190)


# --- Distances ------------------------------------------------------------------------------------------------------

def disc(cx, cy, r):
    return lambda x, y: math.hypot(x - cx, y - cy) - r


def ring(cx, cy, r, width):
    return lambda x, y: abs(math.hypot(x - cx, y - cy) - r) - width / 2


def box(x0, y0, x1, y1, radius=0.0):
    cx, cy, hx, hy = (x0 + x1) / 2, (y0 + y1) / 2, (x1 - x0) / 2 - radius, (y1 - y0) / 2 - radius

    def distance(x, y):
        dx, dy = abs(x - cx) - hx, abs(y - cy) - hy
        return math.hypot(max(dx, 0), max(dy, 0)) + min(max(dx, dy), 0) - radius
    return distance


def line(x0, y0, x1, y1, width):
    vx, vy = x1 - x0, y1 - y0
    squared = vx * vx + vy * vy or 1.0

    def distance(x, y):
        t = min(1.0, max(0.0, ((x - x0) * vx + (y - y0) * vy) / squared))
        return math.hypot(x - x0 - t * vx, y - y0 - t * vy) - width / 2
    return distance


def path(points, width):
    parts = [line(*a, *b, width) for a, b in zip(points, points[1:])]
    return lambda x, y: min(p(x, y) for p in parts)


def polygon(*points):
    def distance(x, y):
        best, inside = 1e9, False
        for (ax, ay), (bx, by) in zip(points, points[1:] + points[:1]):
            ex, ey, wx, wy = bx - ax, by - ay, x - ax, y - ay
            t = min(1.0, max(0.0, (wx * ex + wy * ey) / (ex * ex + ey * ey or 1.0)))
            best = min(best, math.hypot(wx - t * ex, wy - t * ey))
            if (ay > y) != (by > y) and x < (bx - ax) * (y - ay) / (by - ay) + ax:
                inside = not inside
        return -best if inside else best
    return distance


def arc(cx, cy, r, start, end, width):
    """Degrees, clockwise on the screen from the right."""
    steps = max(4, int(abs(end - start) / 12))
    angles = [math.radians(start + (end - start) * i / steps) for i in range(steps + 1)]
    return path([(cx + r * math.cos(a), cy + r * math.sin(a)) for a in angles], width)


def minus(a, b):
    return lambda x, y: max(a(x, y), -b(x, y))


def both(a, b):
    return lambda x, y: max(a(x, y), b(x, y))


def rays(cx, cy, inner, outer, count, width):
    turn = 2 * math.pi / count
    parts = [line(cx + inner * math.cos(i * turn), cy + inner * math.sin(i * turn),
                  cx + outer * math.cos(i * turn), cy + outer * math.sin(i * turn), width) for i in range(count)]
    return lambda x, y: min(p(x, y) for p in parts)


# --- Fills ----------------------------------------------------------------------------------------------------------

def flat(colour):
    return lambda x, y: colour


def mixed(a, b, t):
    t = min(1.0, max(0.0, t))
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(3))


def vertical(top, bottom, y0=0.0, y1=GRID):
    return lambda x, y: mixed(top, bottom, (y - y0) / (y1 - y0))


def ball(cx, cy, r, colour, shine=0.0, rough=0.5):
    """A lit sphere: light from the upper left, `shine` the strength of a highlight of size `rough`."""
    light = (-0.5, -0.65, 0.57)

    def shade(x, y):
        nx, ny = (x - cx) / r, (y - cy) / r
        nz = math.sqrt(max(0.0, 1 - nx * nx - ny * ny))
        cosine = nx * light[0] + ny * light[1] + nz * light[2]
        base = mixed(mixed(colour, (0, 0, 0), 0.62), colour, 0.25 + 0.85 * max(0.0, cosine))
        half = 2 * cosine * nz - light[2]
        return mixed(base, WHITE, shine * max(0.0, half) ** (2.0 / (rough * rough)))
    return shade


def checker(a, b, size):
    return lambda x, y: a if (int(x // size) + int(y // size)) % 2 == 0 else b


# --- Symbols that several icons share -------------------------------------------------------------------------------

def sphere(colour, shine=0.0, rough=0.5, cx=16, cy=16, r=12.5):
    return [(disc(cx, cy, r), ball(cx, cy, r, colour, shine, rough))]


def play(colour=GREEN, x=9.0):
    return [(polygon((x, 5), (x + 18, 16), (x, 27)), flat(colour))]


def gear(cx=16, cy=16, r=8.5, colour=INK):
    teeth = rays(cx, cy, r * 0.7, r * 1.35, 8, r * 0.5)
    body = disc(cx, cy, r)
    return [(minus(lambda x, y: min(teeth(x, y), body(x, y)), disc(cx, cy, r * 0.42)), flat(colour))]


def arrows_round(colour=BLUE):
    return [(arc(16, 16, 10, 190, 320, 3.2), flat(colour)), (polygon((20, 11), (29, 14), (28, 4)), flat(colour)),
            (arc(16, 16, 10, 10, 140, 3.2), flat(colour)), (polygon((12, 21), (3, 18), (4, 28)), flat(colour))]


def area_light(x=0.0):
    return [(polygon((5 + x, 5), (23 + x, 5), (27 + x, 12), (9 + x, 12)), vertical(WHITE, YELLOW, 5, 12))] + \
        [(line(11 + x + 5 * i, 15, 8 + x + 6.5 * i, 26, 1.8), flat(ACCENT)) for i in range(3)]


def camera(colour=INK):
    return [(box(3, 10, 22, 24, 2.5), flat(colour)), (polygon((22, 16), (29, 11), (29, 23), (22, 18)), flat(colour)),
            (disc(9, 8, 4), flat(colour)), (disc(17, 7.5, 3.2), flat(colour)), (disc(12.5, 17, 4), flat(BLUE)),
            (disc(11.5, 16, 1.2), flat(WHITE))]


def sun(cx=16, cy=16, r=6.0):
    return [(rays(cx, cy, r + 2.5, r + 6.5, 8, 2.4), flat(ACCENT)), (disc(cx, cy, r), ball(cx, cy, r * 1.6, YELLOW))]


def boxes():
    return [(path([(9, 11), (16, 16), (23, 9)], 2.0), flat(GRAY)), (path([(9, 22), (16, 16)], 2.0), flat(GRAY)),
            (box(3, 7, 12, 14, 2), flat(BLUE)), (box(3, 18, 12, 25, 2), flat(GREEN)),
            (box(19, 9, 29, 22, 2), flat(ACCENT)), (disc(19, 15.5, 2.2), flat(PAPER))]


def panorama(sky_top, sky_bottom, ground):
    whole = disc(16, 16, 13)
    return [(whole, vertical(sky_top, sky_bottom, 3, 18)), (both(whole, box(0, 18, 32, 32)), flat(ground)),
            (ring(16, 16, 13, 1.6), flat(INK))]


def tag(symbol):
    """The label behind the symbol, as managers show tags."""
    return [(box(1.5, 1.5, 30.5, 30.5, 5), flat((214, 218, 224)))] + symbol


def cloud(colour=GRAY):
    return [(disc(11, 18, 6), flat(colour)), (disc(18, 13, 7), flat(colour)), (disc(23, 19, 5.5), flat(colour)),
            (box(9, 17, 25, 24.5, 3), flat(colour))]


def two_balls(a, b):
    return sphere(a, 0.7, 0.25, 12, 12, 9.5) + sphere(b, 0.2, 0.6, 21, 21, 9.0)


def logo():
    """A lens with light passing through it."""
    return [(box(1, 1, 31, 31, 7), vertical((44, 50, 62), (24, 27, 34))), (ring(16, 16, 9.5, 3.4), flat(ACCENT)),
            (disc(16, 16, 5.2), ball(16, 16, 6.5, YELLOW, 0.8, 0.4)), (line(21, 21, 28, 28, 2.2), flat(YELLOW)),
            (line(4, 4, 10, 10, 2.2), flat(WHITE))]


def question():
    return [(disc(16, 16, 13.5), flat(BLUE)), (arc(16, 12, 4.5, 170, 400, 3), flat(WHITE)),
            (path([(18.6, 15.2), (16.2, 17.8), (16.1, 20.2)], 3), flat(WHITE)), (disc(16.1, 24.2, 1.9), flat(WHITE))]


def arrow(points, colour, width=3.0):
    (ax, ay), (bx, by) = points[-2], points[-1]
    length = math.hypot(bx - ax, by - ay)
    ux, uy = (bx - ax) / length, (by - ay) / length
    head = polygon((bx + 4 * ux, by + 4 * uy), (bx - 2 * ux - 5 * uy, by - 2 * uy + 5 * ux),
                   (bx - 2 * ux + 5 * uy, by - 2 * uy - 5 * ux))
    return [(path(points, width), flat(colour)), (head, flat(colour))]


def pages(colour):
    sheet = box(5, 3, 23, 27, 2)
    return [(sheet, flat(PAPER)), (minus(sheet, box(6.5, 4.5, 21.5, 25.5, 1)), flat(INK))] + \
        [(line(9, 9 + 5 * i, 19, 9 + 5 * i, 1.8), flat(colour)) for i in range(3)]


CLAY, CHROME, GLASS, GOLD = (196, 120, 86), (170, 178, 190), (150, 205, 232), (226, 176, 76)
DAY = ((66, 124, 212), (188, 222, 248), (106, 142, 84))
DUSK = ((226, 228, 232), (168, 172, 180), (120, 124, 132))

ICONS = {
    "icon.tif": logo(),
    # Commands
    "convCmd.png": sphere(CLAY, 0, 0.5, 8.5, 16, 7.5) + sphere(GOLD, 0.8, 0.25, 24, 16, 7) +
                   arrow([(12, 16), (18, 16)], INK, 2.6),
    "setCmd.png": gear(16, 16, 9),
    "dayLghtCmd.png": sun(),
    "ALghtCmd.png": area_light(),
    "ALghtTCmd.png": area_light(-2) + [(ring(25, 25, 4, 1.8), flat(RED)), (disc(25, 25, 1.6), flat(RED))],
    "ALghtICmd.png": [(polygon((13, 4), (19, 4), (22, 11), (10, 11)), flat(INK)),
                      (polygon((11, 12), (21, 12), (29, 27), (16, 30), (3, 27)), vertical(YELLOW, WHITE, 12, 30))],
    "camCmd.png": camera(),
    "envGryCmd.png": panorama(*DUSK),
    "envHdrCmd.png": panorama(*DAY) + [(disc(21, 10, 2.8), flat(YELLOW))],
    "mvltCmd.png": [(box(3, 6, 29, 28, 3), flat(INK)), (box(6, 10, 26, 25, 1.5), flat(PAPER))] +
                   sphere(CLAY, 0.3, 0.5, 11, 17.5, 4) + sphere(BLUE, 0.8, 0.3, 21, 17.5, 4),
    "ngCmd.png": boxes(),
    "texture_man.png": [(box(4, 8, 24, 28, 2), checker(PAPER, GRAY, 5)), (box(9, 4, 29, 24, 2), checker(BLUE, WHITE, 5)),
                        (minus(box(9, 4, 29, 24, 2), box(10.4, 5.4, 27.6, 22.6, 1)), flat(INK))],
    "difmat.png": sphere(CLAY),
    "glsmat.png": sphere(RED, 0.95, 0.3),
    "spcmat.png": sphere(GLASS, 1.0, 0.16) + [(arc(16, 16, 9.5, 20, 100, 2.0), flat(WHITE))],
    "unimat.png": [(both(disc(16, 16, 12.5), box(3, 3, 16, 29)), ball(16, 16, 12.5, PURPLE, 0.3, 0.5)),
                   (both(disc(16, 16, 12.5), box(16, 3, 29, 29)), ball(16, 16, 12.5, CHROME, 0.9, 0.25))],
    "mixmat.png": two_balls(BLUE, ACCENT),
    "mtlmat.png": sphere(GOLD, 1.0, 0.22),
    "toonmat.png": [(disc(16, 16, 13), flat(INK)), (disc(16, 16, 11.4), flat((54, 128, 90))),
                    (both(disc(16, 16, 11.4), disc(13, 13, 11)), flat((104, 190, 120))), (disc(12, 11, 2.6), flat(WHITE))],
    "Blendmat.png": [(disc(16, 16, 12.5), vertical(BLUE, RED, 6, 26)), (line(4, 16, 28, 16, 0.9), flat(WHITE))],
    "vdb.png": cloud(),
    "sendCmd.png": play(),
    "remMats1.png": sphere(GRAY, 0.2, 0.5, 14, 14, 10.5) + [(line(19, 19, 29, 29, 3.4), flat(RED)),
                                                            (line(29, 19, 19, 29, 3.4), flat(RED))],
    "helpWCmd.png": question(),
    "pauseCmd.png": [(box(8, 6, 13.5, 26, 1), flat(INK)), (box(18.5, 6, 24, 26, 1), flat(INK))],
    "stopCmd.png": [(box(7, 7, 25, 25, 2), flat(RED))],
    "resetCmd.png": [(arc(16, 16, 10, -60, 220, 3.4), flat(RED)), (polygon((17, 2), (27, 8), (17, 13)), flat(RED))],
    "chkUpdate.png": arrows_round(GREEN) + [(path([(12, 16), (15, 19), (20, 13)], 2.2), flat(INK))],
    "openSett.png": gear(13, 18, 7.5) + arrow([(17, 14), (25, 6)], ACCENT, 2.8),
    "readSett.png": pages(GRAY) + gear(23, 23, 5, ACCENT),
    "apiUpdate.png": arrows_round(BLUE),
    "testCmd.png": [(polygon((12, 4), (20, 4), (20, 13), (27, 27), (5, 27), (12, 13)), flat(PAPER)),
                    (polygon((10.5, 16), (21.5, 16), (27, 27), (5, 27)), flat(GREEN)),
                    (path([(12, 4), (12, 13), (5, 27), (27, 27), (20, 13), (20, 4)], 1.8), flat(INK)),
                    (line(10, 4, 22, 4, 2.2), flat(INK))],
    # Tags and objects
    "lumCameraTag.png": tag(camera()),
    "lumEnvTag.png": tag(panorama(*DAY)),
    "lumDayLightTag.png": tag(sun()),
    "lumObjectTag.png": tag([(polygon((16, 4), (27, 10), (16, 16), (5, 10)), flat((250, 178, 108))),
                             (polygon((5, 10), (16, 16), (16, 28), (5, 22)), flat(ACCENT)),
                             (polygon((27, 10), (27, 22), (16, 28), (16, 16)), flat((196, 96, 20)))]),
    "lumLightTag.png": tag([(disc(16, 13, 8), ball(16, 13, 11, YELLOW)), (box(12.5, 20, 19.5, 23, 1), flat(GRAY)),
                            (box(12.5, 24, 19.5, 27.5, 1.5), flat(INK))]),
    "sctrObj.tif": [(polygon((2, 22), (16, 15), (30, 22), (16, 30)), flat((120, 160, 92)))] +
                   [shape for x, y in ((9, 19), (16, 16), (23, 19), (16, 23)) for shape in
                    [(line(x, y, x, y - 4, 1.6), flat((110, 78, 48))),
                     (disc(x, y - 6.5, 3.6), ball(x, y - 6.5, 4.5, GREEN))]],
    # Pictures of blended materials
    "mixMat-icon.png": two_balls(BLUE, ACCENT),
    "blend-icon.png": two_balls(PURPLE, GREEN),
}


# --- Painting and files ---------------------------------------------------------------------------------------------

def paint(shapes, size):
    """Rows of (r, g, b, a) bytes, not premultiplied."""
    scale = GRID / size
    rows = bytearray()
    for py in range(size):
        for px in range(size):
            x, y = (px + 0.5) * scale, (py + 0.5) * scale
            r = g = b = a = 0.0
            for distance, fill in shapes:
                cover = min(1.0, max(0.0, 0.5 - distance(x, y) / scale))
                if cover <= 0:
                    continue
                colour = fill(x, y)
                r, g, b = (c * cover + old * (1 - cover) for c, old in zip(colour, (r, g, b)))
                a = cover + a * (1 - cover)
            straight = (min(255, int(c / a + 0.5)) for c in (r, g, b)) if a > 0 else (0, 0, 0)
            rows += bytes((*straight, int(a * 255 + 0.5)))
    return bytes(rows)


def png(pixels, width, height):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    raw = b"".join(b"\0" + pixels[y * width * 4:(y + 1) * width * 4] for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def tiff(pixels, width, height):
    """Baseline TIFF: one uncompressed strip of RGBA."""
    entries = [(256, 3, 1, width), (257, 3, 1, height), (258, 3, 4, None), (259, 3, 1, 1), (262, 3, 1, 2),
               (273, 4, 1, None), (277, 3, 1, 4), (278, 3, 1, height), (279, 4, 1, len(pixels)), (284, 3, 1, 1),
               (338, 3, 1, 2)]
    after = 8 + 2 + 12 * len(entries) + 4
    directory = struct.pack("<H", len(entries))
    for number, kind, count, value in entries:
        value = after if number == 258 else after + 8 if number == 273 else value
        short = kind == 3 and count == 1
        directory += struct.pack("<HHIHH", number, kind, count, value, 0) if short else \
            struct.pack("<HHII", number, kind, count, value)
    return b"II*\0" + struct.pack("<I", 8) + directory + struct.pack("<I", 0) + struct.pack("<4H", 8, 8, 8, 8) + pixels


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "plugin", "res")
    os.makedirs(folder, exist_ok=True)
    for name, shapes in ICONS.items():
        write = tiff if name.endswith(".tif") else png
        with open(os.path.join(folder, name), "wb") as file:
            file.write(write(paint(shapes, SIZE), SIZE, SIZE))
    print(f"{len(ICONS)} icons in {folder}")


if __name__ == "__main__":
    main()
