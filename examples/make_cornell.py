#!/usr/bin/env python3
"""Writes cornell/cornell.gltf: a box with a red and a green wall, two blocks and a light in the ceiling."""

import os

from gltf import FACES, Scene, quad, rounded_box

scene = Scene('make_cornell.py')
white = scene.material('White', (0.73, 0.73, 0.73))
red = scene.material('Red', (0.63, 0.065, 0.05))
green = scene.material('Green', (0.14, 0.45, 0.091))
light = scene.material('Light', (0, 0, 0), emission=(17, 12, 5))

# Two metres a side, the floor at 0, open to the viewer. A quad faces -z until it is turned.
wall = quad(2, 2)
TURNS = (  # name, material, centre, axis and angle
    ('Floor', white, (0, 0, 0), (0.7071068, 0, 0, 0.7071068)),
    ('Ceiling', white, (0, 2, 0), (-0.7071068, 0, 0, 0.7071068)),
    ('Back wall', white, (0, 1, -1), (0, 1, 0, 0)),
    ('Left wall', red, (-1, 1, 0), (0, -0.7071068, 0, 0.7071068)),
    ('Right wall', green, (1, 1, 0), (0, 0.7071068, 0, 0.7071068)),
)
walls = {m: scene.mesh(n, wall, m) for n, m in (('White wall', white), ('Red wall', red), ('Green wall', green))}
for name, material, centre, turn in TURNS:
    scene.node(name, walls[material], centre, turn)
scene.node('Light', scene.mesh('Light', quad(0.5, 0.4), light), (0, 1.99, 0), (-0.7071068, 0, 0, 0.7071068))
tall = scene.mesh('Tall block', rounded_box((0.6, 1.2, 0.6), 0, faces=FACES), white)
short = scene.mesh('Short block', rounded_box((0.6, 0.6, 0.6), 0, faces=FACES), white)
scene.node('Tall block', tall, (-0.35, 0.6, -0.3), (0, 0.156434, 0, 0.987688))
scene.node('Short block', short, (0.35, 0.3, 0.35), (0, -0.139173, 0, 0.990268))
scene.camera('Camera', (0, 1, 4.9), (0, 1, 0), 30, 1)
scene.write(os.path.join(os.path.dirname(os.path.abspath(__file__)), 'cornell'), 'cornell')
