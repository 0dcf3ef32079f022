#!/usr/bin/env python3
"""Writes still-life/still-life.gltf: a table by a window, a vase with twigs, fruit, books and a lamp.

Everything is made here: shapes are turned, swept or draped, pictures are painted pixel by pixel."""

import math
import os
import random

from gltf import (Mesh, Noise, Scene, add, cross, dot, lathe, look_at, mix, picture, quad, rotation, rotation_to,
                  rounded_box, scaled, smoothstep, sphere, spline, sub, unit)

TAU = 2 * math.pi


# ---- pictures --------------------------------------------------------------------------------------------------------

def wood(seed, dark, light, planks):
    grain = Noise(seed)

    def colour(u, v):
        plank = math.floor(v * planks)
        within = v * planks - plank
        shift = grain.lattice(plank, 77)
        # Rings of a trunk cut along: stretched along the plank, bent a little.
        bend = grain.fractal(u * 4 + shift * 9, v * 6, 2, 64, 64)
        rings = 0.5 + 0.5 * math.sin(TAU * (within * 3.2 + bend * 2.6 + shift * 5))
        fibre = grain.fractal(u * 10, v * 150, 2, 10, 150)
        tone = 0.25 + 0.34 * rings + 0.30 * fibre + 0.25 * (shift - 0.5)
        gap = smoothstep(0.0, 0.018, min(within, 1 - within))
        return scaled(mix(dark, light, tone), 0.45 + 0.55 * gap)
    return colour


def linen(u, v):
    """One repeat of a woven check: two blue bands each way on undyed thread; crossing bands are darker."""
    thread = Noise(5)

    def band(x):
        x %= 1.0
        return 1.0 if 0.30 < x < 0.62 or 0.70 < x < 0.74 or 0.18 < x < 0.22 else 0.0
    over = (math.floor(u * 64) + math.floor(v * 64)) % 2  # which thread lies on top
    blue = 0.62 * (band(u) + band(v)) / 2 + 0.38 * (band(u) if over else band(v))
    weave = 0.93 + 0.07 * thread.at(u * 64, v * 64, 64, 64) - 0.04 * over
    return scaled(mix((0.93, 0.90, 0.84), (0.20, 0.33, 0.52), blue), weave)


def glaze(u, v):
    """Painted earthenware: bands, a row of leaves and dots in blue on a warm white."""
    brush = Noise(11)
    paint = 0.0
    wobble = 0.004 * (brush.at(u * 24, 3, 24, 8) - 0.5)
    for centre, width in ((0.17, 0.006), (0.20, 0.014), (0.335, 0.006), (0.72, 0.006), (0.755, 0.016), (0.95, 0.02)):
        paint = max(paint, 1 - smoothstep(width * 0.75, width, abs(v + wobble - centre)))
    # Twelve leaves that lean, each a lens with a bright vein.
    x = (u * 12 + (v - 0.53) * 2.2) % 1.0 - 0.5
    y = (v - 0.53) / 0.145
    if abs(y) < 1:
        lens = abs(x) - 0.36 * (1 - y * y)
        vein = smoothstep(0.015, 0.035, abs(x))
        paint = max(paint, (1 - smoothstep(-0.02, 0.01, lens)) * (0.35 + 0.65 * vein))
    # Dots between.
    dx, dy = ((u * 24 + 0.5) % 1.0 - 0.5) / 24 * 2.4, v - 0.265
    paint = max(paint, 1 - smoothstep(0.012, 0.016, math.hypot(dx, dy)))
    paint *= 0.75 + 0.25 * brush.fractal(u * 20, v * 14, 3, 20, 14)
    cream = mix((0.90, 0.87, 0.80), (0.95, 0.93, 0.88), brush.fractal(u * 6, v * 6, 3, 6, 6))
    return mix(cream, (0.13, 0.24, 0.50), paint)


def orange_skin(u, v):
    pores = Noise(21)
    tone = pores.fractal(u * 8, v * 5, 3, 8, 5)
    pore = smoothstep(0.62, 0.86, pores.at(u * 88, v * 48, 88, 48))
    skin = mix((0.93, 0.47, 0.06), (0.97, 0.60, 0.12), tone)
    green = (1 - smoothstep(0.0, 0.06, v)) * 0.7
    return mix(scaled(skin, 1 - 0.16 * pore), (0.42, 0.47, 0.16), green)


def apple_skin(u, v):
    streaks = Noise(31)
    blush = streaks.fractal(u * 3, v * 1.2, 3, 3, 8)
    fine = streaks.fractal(u * 70, v * 3, 2, 70, 8)
    red = smoothstep(0.32, 0.62, blush * 0.75 + fine * 0.35 + 0.10 * math.sin(math.pi * v))
    dots = smoothstep(0.80, 0.92, streaks.at(u * 52, v * 30, 52, 30)) * 0.35
    skin = mix(mix((0.86, 0.76, 0.30), (0.72, 0.12, 0.09), red), (0.93, 0.84, 0.55), dots)
    return mix(skin, (0.55, 0.50, 0.16), 1 - smoothstep(0.02, 0.12, v))


def pear_skin(u, v):
    spots = Noise(41)
    tone = spots.fractal(u * 4, v * 5, 3, 4, 8)
    blush = smoothstep(0.35, 0.75, spots.fractal(u * 2, v * 2, 2, 2, 8)) * (0.5 - 0.5 * math.cos(TAU * u)) * 0.6
    freckle = smoothstep(0.74, 0.90, spots.at(u * 64, v * 64, 64, 64)) * 0.5
    skin = mix(mix((0.66, 0.68, 0.22), (0.80, 0.74, 0.28), tone), (0.76, 0.42, 0.18), blush)
    return mix(skin, (0.48, 0.36, 0.16), max(freckle, 1 - smoothstep(0.0, 0.05, v)))


LETTERS = {
    'A': '01110 10001 10001 11111 10001 10001 10001', 'B': '11110 10001 10001 11110 10001 10001 11110',
    'C': '01111 10000 10000 10000 10000 10000 01111', 'E': '11111 10000 10000 11110 10000 10000 11111',
    'F': '11111 10000 10000 11110 10000 10000 10000', 'G': '01111 10000 10000 10011 10001 10001 01110',
    'H': '10001 10001 10001 11111 10001 10001 10001', 'I': '01110 00100 00100 00100 00100 00100 01110',
    'L': '10000 10000 10000 10000 10000 10000 11111', 'N': '10001 11001 10101 10011 10001 10001 10001',
    'O': '01110 10001 10001 10001 10001 10001 01110', 'R': '11110 10001 10001 11110 10100 10010 10001',
    'S': '01111 10000 10000 01110 00001 00001 11110', 'T': '11111 00100 00100 00100 00100 00100 00100',
}


def lettering(text, x, y, height):
    """1 where the text, centred at 0, has ink. Letters are 5 by 7 dots."""
    dot_size = height / 7
    column = math.floor(x / dot_size + (len(text) * 6 - 1) / 2)
    row = math.floor(y / dot_size + 3.5)
    if not (0 <= row < 7 and 0 <= column < len(text) * 6) or column % 6 == 5:
        return 0
    bits = LETTERS.get(text[column // 6])
    return int(bits.split()[row][column % 6]) if bits else 0


def cover(cloth, ink, title, subtitle, seed):
    """A bound book seen from above: woven cloth, a frame and a paper label."""
    weave = Noise(seed)

    def colour(u, v):
        x, y = (u - 0.5) * 4 / 3, v - 0.5
        base = scaled(cloth, 0.86 + 0.14 * weave.at(u * 128, v * 96, 128, 96))
        edge = max(abs(x) - 0.60, abs(y) - 0.435)
        if abs(edge) < 0.007 or abs(edge + 0.025) < 0.003:
            base = ink
        if abs(x) < 0.40 and abs(y + 0.06) < 0.20:
            base = scaled((0.93, 0.89, 0.78), 0.95 + 0.05 * weave.fractal(u * 20, v * 20, 2, 20, 20))
            if abs(max(abs(x) - 0.375, abs(y + 0.06) - 0.175)) < 0.004:
                base = cloth
            if lettering(title, x, y + 0.095, 0.105) or lettering(subtitle, x, y - 0.02, 0.055):
                base = (0.13, 0.11, 0.10)
        return base
    return colour


def pages(u, v):
    """The edge of a block of paper."""
    sheet = Noise(51)
    return scaled((0.93, 0.90, 0.81), 0.78 + 0.22 * sheet.at(u * 3, v * 40, 64, 64))


def plaster(u, v):
    trowel = Noise(61)
    tone = trowel.fractal(u * 4, v * 4, 5, 4, 4)
    return mix((0.44, 0.53, 0.50), (0.60, 0.66, 0.60), tone)


# ---- shapes ----------------------------------------------------------------------------------------------------------

TABLE = (1.7, 0.045, 0.84)  # the top lies at y = 0, its middle at the origin
FRONT = TABLE[2] / 2
ROUND = 0.014  # radius of its edges


def cloth_mesh(resting):
    """A runner from the middle of the table over its front edge. Folds keep clear of what rests on it (x, z, radius)."""
    width, back, lift, hang = 0.66, -0.27, 0.003, 0.30
    edge = ROUND + lift  # the cloth follows the round edge of the table
    flat = FRONT - ROUND - back
    bend = edge * math.pi / 2
    length = flat + bend + hang

    def clear(x, z):
        free = 1.0
        for cx, cz, r in resting:
            free *= smoothstep(r, r + 0.07, math.hypot(x - cx, z - cz))
        return free

    def point(s, t):
        x, d = (s - 0.5) * width, t * length
        if d < flat:
            z = back + d
            ridge = math.sin(14 * x + 5 * z + 1.2 * math.sin(9 * z)) * math.sin(7 * z - 6 * x + 0.6)
            y = lift + 0.016 * max(ridge - 0.35, 0.0) ** 1.5 * clear(x, z) * smoothstep(0.0, 0.06, flat - d)
            return (x + 0.012 * math.sin(5 * z + 1), y, z)
        x += 0.012 * math.sin(5 * (FRONT - ROUND) + 1)
        if d < flat + bend:
            a = (d - flat) / edge
            return (x, lift - edge * (1 - math.cos(a)), FRONT - ROUND + edge * math.sin(a))
        down = d - flat - bend
        fold = smoothstep(0.0, 0.16, down)
        return (x + 0.02 * fold * math.sin(11 * x), lift - edge - down,
                FRONT + lift + fold * (0.020 + 0.018 * math.sin(21 * x + 2 * math.sin(6 * x))))
    return Mesh().surface(56, 76, point, lambda s, t: (s * width / 0.11, t * length / 0.11))


def vase_mesh():
    outside = spline([(0.0, 0.0), (0.046, 0.0), (0.052, 0.004), (0.060, 0.03), (0.083, 0.085), (0.090, 0.135),
                      (0.074, 0.19), (0.044, 0.235), (0.034, 0.268), (0.040, 0.292), (0.050, 0.300)], 3)
    inside = spline([(0.050, 0.300), (0.047, 0.3015), (0.036, 0.29), (0.029, 0.268), (0.036, 0.24), (0.05, 0.2)], 3)
    mesh = lathe(outside, 50)
    # The inside shows the plain glaze between the patterns.
    return mesh.extend(lathe(inside, 50, v_range=(0.045, 0.055)))


def bowl_mesh():
    outside = spline([(0.0, 0.0), (0.045, 0.0), (0.050, 0.006), (0.085, 0.024), (0.122, 0.055), (0.137, 0.082)], 4)
    rim = spline([(0.137, 0.082), (0.138, 0.086), (0.134, 0.088), (0.130, 0.085)], 3)
    inside = spline([(0.130, 0.085), (0.115, 0.058), (0.080, 0.031), (0.045, 0.016), (0.0, 0.013)], 4)
    return lathe(outside, 46).extend(lathe(rim, 46)).extend(lathe(inside, 46))


def apple_mesh():
    profile = spline([(0.0, 0.006), (0.012, 0.001), (0.024, 0.004), (0.036, 0.022), (0.041, 0.044), (0.036, 0.064),
                      (0.022, 0.074), (0.010, 0.070), (0.0, 0.060)], 4)
    return lathe(profile, 30, shape=lambda a, y: 1 + 0.03 * math.cos(5 * a) * (1 - y / 0.075))


def pear_mesh():
    profile = spline([(0.0, 0.004), (0.012, 0.0), (0.028, 0.007), (0.039, 0.03), (0.036, 0.055), (0.024, 0.080),
                      (0.0165, 0.098), (0.011, 0.106), (0.0, 0.107)], 4)
    return lathe(profile, 30, shape=lambda a, y: 1 + 0.025 * math.sin(2 * a + 30 * y))


def lemon_mesh():
    profile = [(0.027 * math.sin(math.pi * k / 22) ** 0.82, 0.0) for k in range(23)]
    ys = [-0.041 * math.cos(math.pi * k / 22) * (1 + 0.10 * abs(math.cos(math.pi * k / 22)) ** 6) for k in range(23)]
    return lathe([(r if 0 < k < 22 else 0.0, y) for k, ((r, _), y) in enumerate(zip(profile, ys))], 32)


def tube(path, radius_at, segments=7):
    """A round rod along the path; radius_at(0..1)."""
    mesh = Mesh()
    last = len(path) - 1
    side = (1.0, 0.0, 0.0)
    frames = []
    for k in range(last + 1):
        along = unit(sub(path[min(k + 1, last)], path[max(k - 1, 0)]))
        side = unit(sub(side, scaled(along, dot(side, along))))
        frames.append((path[k], side, cross(along, side)))

    def at(s, t):
        centre, a, b = frames[round(t * last)]
        out = add(scaled(a, math.cos(TAU * s)), scaled(b, math.sin(TAU * s)))
        return add(centre, scaled(out, radius_at(t))), out, (s, t)
    return mesh.grid(segments, last, at)


def leaf_mesh():
    """A round leaf along +y, from its stalk at the origin, slightly cupped."""
    def point(s, t):
        half = 0.016 * math.sin(math.pi * min(max(t, 0.0), 1.0) ** 0.8)
        x = (s - 0.5) * 2 * half
        return (x, 0.004 + 0.042 * t, 0.10 * x * x / 0.016 * 3 + 0.006 * math.sin(math.pi * t))
    mesh = Mesh()

    def at(s, t):
        e = 1e-3
        tt = min(max(t, 0.02), 0.98)
        ds = sub(point(s + e, tt), point(s - e, tt))
        dt = sub(point(s, tt + e), point(s, tt - e))
        return point(s, t), cross(ds, dt), (s, t)
    return mesh.grid(4, 8, at)


# ---- the scene -------------------------------------------------------------------------------------------------------

def build():
    scene = Scene('make_still_life.py')
    rng = random.Random(7)

    def textured(name, file, width, height, colour, **more):
        return scene.material(name, texture=scene.texture(file, picture(width, height, colour)), **more)

    oak = textured('Oak', 'oak.png', 512, 256, wood(3, (0.30, 0.18, 0.10), (0.66, 0.46, 0.29), 5))
    cloth = textured('Linen', 'linen.png', 128, 128, linen, two_sided=True)
    earthenware = textured('Earthenware', 'earthenware.png', 512, 256, glaze)
    orange_peel = textured('Orange', 'orange.png', 192, 96, orange_skin)
    apple_peel = textured('Apple', 'apple.png', 192, 96, apple_skin)
    pear_peel = textured('Pear', 'pear.png', 128, 128, pear_skin)
    wall_paint = textured('Plaster', 'plaster.png', 192, 192, plaster)
    paper = textured('Paper', 'paper.png', 32, 64, pages)
    green_cover = textured('Green book', 'book-green.png', 320, 240,
                           cover((0.15, 0.29, 0.25), (0.80, 0.66, 0.34), 'STILL LIFE', 'A TABLE BOOK', 71))
    red_cover = textured('Red book', 'book-red.png', 320, 240,
                         cover((0.52, 0.13, 0.11), (0.85, 0.72, 0.42), 'ON LIGHT', 'NOTES ON COLOR', 73))
    terracotta = scene.material('Terracotta', (0.46, 0.16, 0.085))
    lemon_peel = scene.material('Lemon', (0.80, 0.58, 0.06))
    grape = scene.material('Grape', (0.085, 0.030, 0.075))
    bark = scene.material('Bark', (0.15, 0.085, 0.045))
    leaf_green = scene.material('Leaf', (0.17, 0.30, 0.19), two_sided=True)
    white_paint = scene.material('White paint', (0.78, 0.77, 0.74))
    brass = scene.material('Brass', (0.50, 0.33, 0.11))
    lamp_glass = scene.material('Lamp glass', (0.9, 0.9, 0.9), emission=(11.0, 5.6, 2.0))
    panel = scene.material('Light panel', (0, 0, 0), emission=(27.0, 23.4, 18.6))

    # Room.
    room = scene.node('Room')
    scene.node('Table top', scene.mesh('Table top', rounded_box(TABLE, ROUND, uv_scale=0.85), oak),
               (0, -TABLE[1] / 2, 0), parent=room)
    wall_z, left, right, sill, lintel = -0.80, -0.80, -0.06, 0.02, 1.15
    pieces = (('Wall left', (-2.6, left), (-1, 2.2)), ('Wall right', (right, 2.6), (-1, 2.2)),
              ('Wall below', (left, right), (-1, sill)), ('Wall above', (left, right), (lintel, 2.2)))
    for name, (x0, x1), (y0, y1) in pieces:
        block = rounded_box((x1 - x0, y1 - y0, 0.12), 0, uv_scale=0.8)
        scene.node(name, scene.mesh(name, block, wall_paint), ((x0 + x1) / 2, (y0 + y1) / 2, wall_z - 0.06), parent=room)
    bars = [('Sill', ((left + right) / 2, sill - 0.012, wall_z + 0.02), (right - left + 0.10, 0.024, 0.12))]
    for k, x in enumerate((left + 0.02, (left + right) / 2, right - 0.02)):
        bars.append((f'Upright {k + 1}', (x, (sill + lintel) / 2, wall_z - 0.07), (0.036, lintel - sill, 0.04)))
    for k, y in enumerate((sill + 0.018, 0.46, lintel - 0.018)):
        bars.append((f'Crossbar {k + 1}', ((left + right) / 2, y, wall_z - 0.07), (right - left, 0.030, 0.034)))
    window = scene.node('Window', parent=room)
    for name, centre, size in bars:
        scene.node(name, scene.mesh(name, rounded_box(size, 0.004, 2), white_paint), centre, parent=window)
    floor = rounded_box((6, 0.02, 6), 0, uv_scale=0.5)
    scene.node('Floor', scene.mesh('Floor', floor, oak), (0, -0.78, 1.2), parent=room)
    # The room is open to the left, where the daylight comes from; the rest only keeps the sky out.
    for name, centre, size in (('Ceiling', (0.2, 1.75, 0.9), (4.4, 0.1, 3.6)),
                               ('Right wall', (2.0, 0.5, 0.9), (0.1, 2.6, 3.6)),
                               ('Far wall', (0.4, 0.5, 2.7), (3.4, 2.6, 0.1))):
        scene.node(name, scene.mesh(name, rounded_box(size, 0), white_paint), centre, parent=room)

    # What stands where: x, z and the room that it needs on the cloth.
    vase_at, bowl_at, books_at = (-0.315, -0.17), (0.015, -0.02), (0.345, -0.155)
    pear_at, apple_at, lemon_at, lying_at = (-0.185, 0.145), (0.235, 0.115), (-0.075, 0.205), (0.115, 0.20)
    resting = [(*bowl_at, 0.05), (*pear_at, 0.035), (*apple_at, 0.04), (*lemon_at, 0.045), (*lying_at, 0.045),
               (*vase_at, 0.06), (*books_at, 0.17), (0.33, 0.14, 0.10)]
    scene.node('Runner', scene.mesh('Runner', cloth_mesh(resting), cloth), (0, 0, 0))

    top = 0.004  # of the cloth
    # Vase with twigs.
    group = scene.node('Vase', scene.mesh('Vase', vase_mesh(), earthenware), (vase_at[0], 0.001, vase_at[1]),
                       rotation((0, 1, 0), 20))
    leaf = scene.mesh('Leaf', leaf_mesh(), leaf_green)
    twigs = (((0.0, 0.02, 0.0), (0.015, 0.27, 0.005), (0.06, 0.40, 0.02), (0.15, 0.52, 0.05)),
             ((0.0, 0.02, 0.0), (-0.012, 0.27, 0.01), (-0.05, 0.42, 0.03), (-0.08, 0.56, 0.02)),
             ((0.0, 0.02, 0.0), (0.0, 0.27, -0.015), (0.03, 0.43, -0.04), (0.035, 0.60, -0.05)),
             ((0.0, 0.02, 0.0), (-0.018, 0.28, -0.005), (-0.11, 0.38, -0.01), (-0.20, 0.43, 0.03)))
    for k, points in enumerate(twigs):
        path = spline(points, 8)
        stalk = scene.node(f'Twig {k + 1}', scene.mesh(f'Twig {k + 1}', tube(path, lambda t: 0.0026 - 0.0017 * t), bark),
                           parent=group)
        first = next(i for i, p in enumerate(path) if p[1] > 0.33)
        turn = rng.uniform(0, 360)
        for i in range(first, len(path)):
            along = unit(sub(path[i], path[i - 1]))
            for pair in (0, 180):
                # Leaves stand in pairs, each pair turned against the one before, smaller towards the tip.
                angle = math.radians(turn + 95 * i + pair + rng.uniform(-18, 18))
                side = unit(cross(along, (math.cos(angle), 0.2, math.sin(angle))))
                way = unit(add(scaled(along, rng.uniform(0.4, 0.8)), side))
                size = mix(1.05, 0.55, (i - first) / max(len(path) - first, 1)) * rng.uniform(0.85, 1.1)
                scene.node('Leaf', leaf, path[i], rotation_to(way), (size, size, size), parent=stalk)

    # Bowl of fruit.
    bowl = scene.node('Bowl', scene.mesh('Bowl', bowl_mesh(), terracotta), (bowl_at[0], top, bowl_at[1]))
    orange = scene.mesh('Orange', sphere(0.039, 34, 20, 0.96), orange_peel)
    apple = scene.mesh('Apple', apple_mesh(), apple_peel)
    lemon = scene.mesh('Lemon', lemon_mesh(), lemon_peel)
    stalk = scene.mesh('Stalk', tube(spline([(0, 0, 0), (0.001, 0.008, 0), (0.004, 0.018, 0.001)], 5),
                                     lambda t: 0.0012 + 0.0006 * t), bark)
    for k, (x, y, z, turn) in enumerate(((-0.056, 0.068, 0.020, 40), (0.030, 0.068, 0.050, 130), (0.044, 0.070, -0.036, 70),
                                         (0.000, 0.128, 0.006, 200))):
        scene.node(f'Orange {k + 1}', orange, (x, y, z), rotation((0.5, 0.6, 0.3 * k), turn), parent=bowl)
    in_bowl = scene.node('Apple 1', apple, (-0.036, 0.048, -0.056), rotation((1, 0, 0.3), -24), parent=bowl)
    scene.node('Stalk', stalk, (0, 0.060, 0), parent=in_bowl)

    # On the cloth.
    pear = scene.node('Pear', scene.mesh('Pear', pear_mesh(), pear_peel), (pear_at[0], top, pear_at[1]),
                      rotation((0, 1, 0), 150))
    scene.node('Stalk', stalk, (0, 0.104, 0), rotation((0, 1, 0), 200), (1.2, 1.2, 1.2), parent=pear)
    standing = scene.node('Apple 2', apple, (apple_at[0], top - 0.001, apple_at[1]), rotation((0, 1, 0), 75))
    scene.node('Stalk', stalk, (0, 0.060, 0), rotation((0, 1, 0), 60), parent=standing)
    scene.node('Lemon 1', lemon, (lemon_at[0], top + 0.027, lemon_at[1]), (*scaled(unit((0.3, 0.1, 1)), 0.7071),
                                                                           0.7071))
    scene.node('Lemon 2', lemon, (lying_at[0], top + 0.027, lying_at[1]), (*scaled(unit((1, 0.0, 0.35)), 0.7071),
                                                                           0.7071))

    # Books, the lamp on top.
    books = scene.node('Books', translation=(books_at[0], 0.0, books_at[1]))
    height = 0.001
    for name, material, size, turn in (('Green book', green_cover, (0.27, 0.036, 0.20), 9),
                                       ('Red book', red_cover, (0.23, 0.030, 0.17), -7)):
        w, h, d = size
        book = scene.node(name, translation=(0, height, 0), rotation=rotation((0, 1, 0), turn), parent=books)
        board = scene.mesh(name + ' board', rounded_box((w, 0.004, d), 0.0015, 2), material)
        scene.node('Back board', board, (0, 0.002, 0), parent=book)
        scene.node('Front board', board, (0, h - 0.002, 0), parent=book)
        scene.node('Spine', scene.mesh(name + ' spine', rounded_box((0.005, h, d), 0.002, 2), material),
                   (-w / 2 + 0.001, h / 2, 0), parent=book)
        block = rounded_box((w - 0.012, h - 0.008, d - 0.012), 0)
        scene.node('Pages', scene.mesh(name + ' pages', block, paper), (-0.002, h / 2, 0), parent=book)
        height += h
    lamp = scene.node('Lamp', translation=(0.02, height, -0.01), parent=books)
    foot = lathe(spline([(0.0, 0.0), (0.046, 0.0), (0.048, 0.004), (0.040, 0.010), (0.016, 0.018), (0.012, 0.040),
                         (0.018, 0.052), (0.030, 0.058), (0.031, 0.064), (0.0, 0.066)], 3), 36)
    scene.node('Lamp foot', scene.mesh('Lamp foot', foot, brass), parent=lamp)
    scene.node('Lamp globe', scene.mesh('Lamp globe', sphere(0.066, 32, 18), lamp_glass), (0, 0.124, 0), parent=lamp)

    # Grapes: one mesh, many places.
    berry = scene.mesh('Berry', sphere(0.0115, 18, 12, 1.08), grape)
    bunch = scene.node('Grapes', translation=(0.355, top, 0.135), rotation=rotation((0, 1, 0), 28))
    placed = []
    for _ in range(4000):
        t = rng.random()
        radius = 0.040 * (1 - t) ** 0.7 + 0.006
        a = rng.uniform(0, math.pi)
        p = (-0.055 + 0.125 * t, 0.0118 + radius * math.sin(a) * rng.uniform(0.0, 0.85), radius * math.cos(a) * 1.15)
        if all(dot(sub(p, q), sub(p, q)) > 0.0175 ** 2 for q in placed):
            placed.append(p)
    for p in placed:
        scene.node('Berry', berry, p, rotation((rng.random(), rng.random(), rng.random() + 0.1), rng.uniform(0, 360)),
                   parent=bunch)
    stem = spline([(-0.04, 0.03, 0.0), (-0.075, 0.042, 0.002), (-0.105, 0.036, 0.012)], 5)
    scene.node('Stem', scene.mesh('Stem', tube(stem, lambda t: 0.0022), bark), parent=bunch)

    # Light from the upper left front, out of the picture.
    eye = (-1.35, 1.25, 0.95)
    scene.node('Light panel', scene.mesh('Light panel', quad(0.8, 0.6), panel), eye, look_at(eye, (0.05, 0.0, 0.0)))
    scene.camera('Camera', (0.10, 0.44, 1.60), (0.015, 0.170, -0.05), 28, 1.5)
    scene.write(os.path.join(os.path.dirname(os.path.abspath(__file__)), 'still-life'), 'still-life')


if __name__ == '__main__':
    build()
