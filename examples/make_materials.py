#!/usr/bin/env python3
"""Writes materials/materials.gltf: shelves with balls of lacquer, metal, glass, stone, wood and light."""

import math
import os

from gltf import Noise, Scene, look_at, mix, picture, quad, rounded_box, scaled, smoothstep, sphere

RADIUS, STEP, RISE = 0.1, 0.26, 0.29


def marble(u, v):
    veins = Noise(4)
    bend = veins.fractal(u * 4, v * 3, 5, 4, 3)
    line = abs(math.sin(2 * math.pi * (u * 2 + v + 1.6 * bend)))
    tone = smoothstep(0.0, 0.35, line) * (0.85 + 0.15 * veins.fractal(u * 12, v * 9, 3, 12, 9))
    return mix((0.16, 0.18, 0.17), (0.86, 0.85, 0.81), tone)


def walnut(u, v):
    grain = Noise(9)
    bend = grain.fractal(u * 2, v * 4, 3, 2, 4)
    rings = 0.5 + 0.5 * math.sin(2 * math.pi * (v * 9 + bend * 3))
    fibre = grain.fractal(u * 120, v * 6, 2, 120, 6)
    return mix((0.20, 0.10, 0.05), (0.50, 0.29, 0.15), 0.65 * rings + 0.35 * fibre)


def enamel(u, v):
    """Petals in two colours between bands."""
    x, y = (u * 10) % 1.0 - 0.5, (v - 0.5) * 5.2
    petal = abs(x) < 0.42 * math.sqrt(max(0.0, 1 - y * y))
    band = 0.85 < abs(v - 0.5) * 3.6 < 1.0
    ground = (0.05, 0.16, 0.33)
    return (0.90, 0.72, 0.30) if band else (0.86, 0.30, 0.16) if petal else ground


def dented(u, v):
    """A normal map of round dents, in straight rows."""
    x, y = (u * 16) % 1.0 * 2 - 1, (v * 8) % 1.0 * 2 - 1
    r2 = (x * x + y * y) / 0.75
    slope = 0.8 * (1 - smoothstep(0.65, 1.0, r2)) if r2 < 1 else 0.0
    n = (x * slope, -y * slope, 1.0)
    length = math.sqrt(sum(c * c for c in n))
    return tuple(0.5 + 0.5 * c / length for c in n)


def build():
    scene = Scene('make_materials.py')
    gltf = scene.gltf

    def material(name, colour, rough, metal=0.0, texture=None, normal=None, glass=None, emission=None):
        index = scene.material(name, colour, texture=texture, emission=emission)
        made = gltf['materials'][index]
        made['pbrMetallicRoughness'].update(metallicFactor=metal, roughnessFactor=rough)
        if normal is not None:
            made['normalTexture'] = {'index': normal, 'scale': 1.0}
        if glass:
            made['extensions'] = {'KHR_materials_transmission': {'transmissionFactor': 1.0},
                                  'KHR_materials_volume': {'thicknessFactor': 2 * RADIUS},
                                  'KHR_materials_ior': {'ior': glass}}
        return index

    stone = scene.texture('marble.png', picture(512, 256, marble))
    wood = scene.texture('walnut.png', picture(512, 256, walnut))
    paint = scene.texture('enamel.png', picture(512, 256, enamel))
    dents = scene.texture('dents.png', picture(512, 256, dented, 255))
    red = (0.55, 0.03, 0.02)
    rows = (
        [material(f'Lacquer {r}', red, r) for r in (0.03, 0.15, 0.3, 0.5, 0.9)],
        [material(name, colour, r, metal=1.0) for name, colour, r in (
            ('Silver', (0.95, 0.93, 0.90), 0.03), ('Gold', (1.0, 0.77, 0.34), 0.15), ('Copper', (0.95, 0.62, 0.51), 0.3),
            ('Blue steel', (0.24, 0.34, 0.56), 0.25), ('Cast iron', (0.30, 0.29, 0.28), 0.6))],
        [material('Glass', (1, 1, 1), 0.0, glass=1.5), material('Amber glass', (0.98, 0.62, 0.16), 0.0, glass=1.55),
         material('Marble', (1, 1, 1), 0.1, texture=stone), material('Walnut', (1, 1, 1), 0.25, texture=wood),
         material('Enamel', (1, 1, 1), 0.05, texture=paint)],
    )
    dented_brass = material('Dented brass', (0.90, 0.70, 0.35), 0.2, metal=1.0, normal=dents)
    lamp = material('Lamp', (0.9, 0.9, 0.9), 1.0, emission=(9.0, 6.4, 3.6))
    shelf = material('Shelf', (0.62, 0.60, 0.56), 0.6)
    wall = material('Wall', (0.16, 0.19, 0.22), 0.9)
    panel = material('Soft light', (0, 0, 0), 1.0, emission=(15.0, 14.2, 13.0))
    cool = material('Cool light', (0, 0, 0), 1.0, emission=(7.0, 8.4, 10.5))

    ball = scene.mesh('Ball', sphere(RADIUS, 96, 48), rows[0][0])

    def ball_of(name, surface):
        """The same arrays in another material."""
        first = gltf['meshes'][ball]['primitives'][0]
        return scene._append('meshes', {'name': name, 'primitives': [{**first, 'material': surface}]})

    for j, row in enumerate(rows):
        y = (2 - j) * RISE
        scene.node(f'Shelf {j + 1}', scene.mesh(f'Shelf {j + 1}', rounded_box((1.62, 0.024, 0.30), 0.006), shelf),
                   (0, y - 0.012, 0))
        for i, surface in enumerate(row):
            name = gltf['materials'][surface]['name']
            # Turned so that the seam of the texture is at the back.
            scene.node(name, ball_of(name, surface), ((i - 2) * STEP - 0.065, y + RADIUS, 0.01),
                       (0, 0.7071068, 0, 0.7071068))
    for name, surface, radius, y in (('Dented brass', dented_brass, 0.052, 2 * RISE),
                                     ('Glass bead', rows[2][0], 0.05, RISE), ('Lamp', lamp, 0.045, 0)):
        scene.node(name, ball_of(name, surface), (0.675, y + radius, 0.05), (0, 0.7071068, 0, 0.7071068),
                   [radius / RADIUS] * 3)
    scene.node('Wall', scene.mesh('Wall', rounded_box((6, 4, 0.05), 0), wall), (0, 0.5, -0.19))
    for name, surface, at, size in (('Key light', panel, (-1.5, 1.7, 1.7), (0.9, 0.9)),
                                    ('Edge light', cool, (1.7, 0.7, 0.8), (0.35, 1.5))):
        scene.node(name, scene.mesh(name, quad(*size), surface), at, look_at(at, (0, 0.4, 0)))
    scene.camera('Camera', (0, 0.52, 3.1), (0, 0.385, 0), 20.5, 1.6)
    used = gltf.setdefault('extensionsUsed', [])
    used += ['KHR_materials_transmission', 'KHR_materials_volume', 'KHR_materials_ior']
    scene.write(os.path.join(os.path.dirname(os.path.abspath(__file__)), 'materials'), 'materials')


if __name__ == '__main__':
    build()
