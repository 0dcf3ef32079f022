#!/usr/bin/env python3
"""Writes plugin/res/scene/Stairs.c4d: the scene in which the host's material manager shows a material.

Usage: tools/make_preview_scene.py LUMORA

LUMORA is the program of a build; it turns the scene into a document. A ball lies on the upper of three steps, before a
wall, lit from above. What is to be shown goes onto the material "Material", which the ball and nothing else has.
"""
import os
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, 'examples'))
from gltf import FACES, Scene, look_at, quad, rounded_box, sphere  # noqa: E402

TARGET = os.path.join(ROOT, 'plugin', 'res', 'scene', 'Stairs.c4d')
STEPS, WIDTH, DEPTH, HEIGHT = 3, 4.0, 0.8, 0.3  # metres
BALL = 0.5


def build():
    scene = Scene('make_preview_scene.py')
    stone = scene.material('Stone', (0.45, 0.45, 0.47))
    shown = scene.material('Material', (0.8, 0.8, 0.8))
    light = scene.material('Light', (0, 0, 0), emission=(9, 9, 9))
    top, back = HEIGHT * STEPS, -DEPTH * STEPS - 1.0
    for i in range(STEPS):
        front = -DEPTH * i
        step = scene.mesh('Step', rounded_box((WIDTH, HEIGHT, front - back), 0, faces=FACES), stone)
        scene.node('Step %d' % (i + 1), step, (0, HEIGHT * (i + 0.5), (front + back) / 2))
    wall = scene.mesh('Wall', quad(WIDTH, 3.0), stone)
    scene.node('Wall', wall, (0, 1.5, back), (0, 1, 0, 0))
    centre = (0, top + BALL, -DEPTH * (STEPS - 1) - BALL - 0.2)
    scene.node('Ball', scene.mesh('Ball', sphere(BALL, 48, 24), shown), centre)
    lamp = (1.6, top + 2.6, 1.2)
    scene.node('Light', scene.mesh('Light', quad(1.4, 1.4), light), lamp, look_at(lamp, centre))
    scene.camera('Camera', (0.7, top + 1.3, 2.4), (0, top + 0.35, centre[2]), 24, 1)
    return scene


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as folder:
        build().write(folder, 'stairs')
        made = os.path.join(folder, 'stairs.lumdoc')
        # From inside the folder: its name, another each time, stays out of the document.
        subprocess.run([os.path.abspath(sys.argv[1]), 'convert', 'stairs.gltf', 'stairs.lumdoc', '-q'], check=True,
                       cwd=folder)
        os.makedirs(os.path.dirname(TARGET), exist_ok=True)
        with open(made, 'rb') as source, open(TARGET, 'wb') as target:
            target.write(source.read())


if __name__ == '__main__':
    main()
