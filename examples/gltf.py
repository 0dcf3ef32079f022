"""Meshes, pictures and glTF files for the scripts beside this file. Python's standard library only.

Lengths in metres, y up, right-handed; triangles run counter-clockwise seen from outside; v grows downwards.
The same input gives the same bytes."""

import json
import math
import os
import struct
import zlib


# ---- vectors ---------------------------------------------------------------------------------------------------------

def add(a, b):
    return (a[0] + b[0], a[1] + b[1], a[2] + b[2])


def sub(a, b):
    return (a[0] - b[0], a[1] - b[1], a[2] - b[2])


def scaled(a, s):
    return (a[0] * s, a[1] * s, a[2] * s)


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def unit(a):
    length = math.sqrt(dot(a, a))
    return scaled(a, 1 / length) if length > 1e-12 else (0.0, 0.0, 0.0)


def smoothstep(low, high, x):
    t = min(max((x - low) / (high - low), 0.0), 1.0)
    return t * t * (3 - 2 * t)


def mix(a, b, t):
    if isinstance(a, tuple):
        return tuple(x + (y - x) * t for x, y in zip(a, b))
    return a + (b - a) * t


def rotation(axis, degrees):
    """Quaternion x, y, z, w."""
    half = math.radians(degrees) / 2
    return (*scaled(unit(axis), math.sin(half)), math.cos(half))


def rotation_to(direction, up=(0, 1, 0)):
    """Quaternion that turns +y into the direction."""
    d = unit(direction)
    axis = cross(up, d)
    if dot(axis, axis) < 1e-12:
        return (0.0, 0.0, 0.0, 1.0) if dot(up, d) > 0 else (1.0, 0.0, 0.0, 0.0)
    return rotation(axis, math.degrees(math.acos(max(-1.0, min(1.0, dot(up, d))))))


def look_at(eye, target):
    """Quaternion of a camera or a quad at `eye` whose -z axis points at the target."""
    z = unit(sub(eye, target))
    x = unit(cross((0, 1, 0), z))
    y = cross(z, x)
    # Shepperd's method for the column matrix (x, y, z).
    m = ((x[0], y[0], z[0]), (x[1], y[1], z[1]), (x[2], y[2], z[2]))
    trace = m[0][0] + m[1][1] + m[2][2]
    if trace > 0:
        s = 2 * math.sqrt(1 + trace)
        return ((m[2][1] - m[1][2]) / s, (m[0][2] - m[2][0]) / s, (m[1][0] - m[0][1]) / s, s / 4)
    i = max(range(3), key=lambda k: m[k][k])
    j, k = (i + 1) % 3, (i + 2) % 3
    s = 2 * math.sqrt(1 + m[i][i] - m[j][j] - m[k][k])
    q = [0.0] * 4
    q[i], q[j], q[k] = s / 4, (m[i][j] + m[j][i]) / s, (m[i][k] + m[k][i]) / s
    q[3] = (m[k][j] - m[j][k]) / s
    return tuple(q)


# ---- meshes ----------------------------------------------------------------------------------------------------------

class Mesh:
    def __init__(self):
        self.positions, self.normals, self.uvs, self.triangles = [], [], [], []

    def vertex(self, position, normal, uv):
        self.positions.append(position)
        self.normals.append(unit(normal))
        self.uvs.append(uv)
        return len(self.positions) - 1

    def triangle(self, a, b, c):
        """Turned so that it faces the way of its normals; one without area is left out."""
        pa, pb, pc = (self.positions[i] for i in (a, b, c))
        face = cross(sub(pb, pa), sub(pc, pa))
        if dot(face, face) < 1e-22:
            return
        normal = add(add(self.normals[a], self.normals[b]), self.normals[c])
        self.triangles += (a, b, c) if dot(face, normal) >= 0 else (a, c, b)

    def grid(self, columns, rows, function):
        """(columns + 1) x (rows + 1) vertices: function(s, t) in 0..1 gives position, normal, uv."""
        first = len(self.positions)
        for j in range(rows + 1):
            for i in range(columns + 1):
                self.vertex(*function(i / columns, j / rows))
        for j in range(rows):
            for i in range(columns):
                a = first + j * (columns + 1) + i
                c = a + columns + 1
                self.triangle(a, a + 1, c + 1)
                self.triangle(a, c + 1, c)
        return self

    def surface(self, columns, rows, point, uv):
        """A grid whose normals follow from the shape of point(s, t)."""
        e = 1e-4

        def at(s, t):
            ds = sub(point(s + e, t), point(s - e, t))
            dt = sub(point(s, t + e), point(s, t - e))
            return point(s, t), cross(dt, ds), uv(s, t)
        return self.grid(columns, rows, at)

    def extend(self, other, offset=(0, 0, 0)):
        first = len(self.positions)
        self.positions += [add(p, offset) for p in other.positions]
        self.normals += other.normals
        self.uvs += other.uvs
        self.triangles += [i + first for i in other.triangles]
        return self


def spline(points, per_span):
    """Catmull-Rom curve through the points."""
    padded = [points[0], *points, points[-1]]
    curve = []
    for a, b, c, d in zip(padded, padded[1:], padded[2:], padded[3:]):
        for k in range(per_span):
            t = k / per_span
            curve.append(tuple(
                0.5 * (2 * q + (r - p) * t + (2 * p - 5 * q + 4 * r - s) * t * t + (3 * q - p - 3 * r + s) * t ** 3)
                for p, q, r, s in zip(a, b, c, d)))
    curve.append(tuple(points[-1]))
    return curve


def lathe(profile, segments, shape=None, v_range=(0.0, 1.0)):
    """Turns a smooth profile of (radius, y), bottom first with the outside to the right, round the y axis. `shape`
    (angle, y) scales the radius."""
    lengths = [0.0]
    for (r0, y0), (r1, y1) in zip(profile, profile[1:]):
        lengths.append(lengths[-1] + math.hypot(r1 - r0, y1 - y0))
    last = len(profile) - 1
    mesh = Mesh()

    def at(s, t):
        k = round(t * last)
        (r0, y0), (r1, y1) = profile[max(k - 1, 0)], profile[min(k + 1, last)]
        slope = unit((y1 - y0, r0 - r1, 0))  # outside of the profile's direction
        radius, y = profile[k]
        # At a pole the profile runs level: the neighbour's slope would lean.
        if radius < 1e-9:
            slope = (0.0, 1.0 if k else -1.0, 0.0)
        angle = 2 * math.pi * s
        c, n = math.cos(angle), math.sin(angle)
        factor = shape(angle, y) if shape else 1.0
        v = mix(v_range[1], v_range[0], lengths[k] / lengths[-1])
        return (radius * factor * c, y, -radius * factor * n), (slope[0] * c, slope[1], -slope[0] * n), (s, v)
    return mesh.grid(segments, last, at)


def sphere(radius, segments, rings, squash=1.0):
    profile = [(radius * math.sin(math.pi * k / rings), -radius * squash * math.cos(math.pi * k / rings))
               for k in range(rings + 1)]
    profile[0], profile[-1] = (0.0, -radius * squash), (0.0, radius * squash)
    return lathe(profile, segments)


FACES = (  # outward normal, direction of u, direction of v (downwards)
    ((0, 0, 1), (1, 0, 0), (0, -1, 0)), ((0, 0, -1), (-1, 0, 0), (0, -1, 0)),
    ((1, 0, 0), (0, 0, -1), (0, -1, 0)), ((-1, 0, 0), (0, 0, 1), (0, -1, 0)),
    ((0, 1, 0), (1, 0, 0), (0, 0, 1)), ((0, -1, 0), (1, 0, 0), (0, 0, -1)),
)


def rounded_box(size, radius, steps=3, uv_scale=None, faces=FACES):
    """A box round the origin with round edges. Each face has the whole texture, or with uv_scale textures a metre."""
    half = tuple(s / 2 for s in size)
    mesh = Mesh()
    for normal, du, dv in faces:
        hu, hv = (abs(dot(d, half)) for d in (du, dv))
        # Grid lines: dense in the round rim, one span between.
        rim = [k / steps for k in range(steps + 1)] if radius > 0 else [0.0]

        def lines(h):
            return [-h + radius * k for k in rim] + [h - radius * k for k in reversed(rim)]
        us, vs = lines(hu), lines(hv)

        def at(s, t, normal=normal, du=du, dv=dv, us=us, vs=vs, hu=hu, hv=hv):
            a, b = us[round(s * (len(us) - 1))], vs[round(t * (len(vs) - 1))]
            p = add(add(scaled(normal, abs(dot(normal, half))), scaled(du, a)), scaled(dv, b))
            inner = tuple(max(-(h - radius), min(h - radius, x)) for x, h in zip(p, half))
            out = unit(sub(p, inner)) if radius > 0 else normal
            uv = ((a + hu) * uv_scale, (b + hv) * uv_scale) if uv_scale else ((a + hu) / (2 * hu), (b + hv) / (2 * hv))
            return (add(inner, scaled(out, radius)) if radius > 0 else p), out, uv
        mesh.grid(len(us) - 1, len(vs) - 1, at)
    return mesh


def quad(width, height):
    """In the xy plane round the origin, facing -z: what look_at() points at its target."""
    return Mesh().grid(1, 1, lambda s, t: (((s - 0.5) * width, (0.5 - t) * height, 0.0), (0, 0, -1), (s, t)))


# ---- pictures --------------------------------------------------------------------------------------------------------

class Noise:
    """Value noise on a lattice that repeats."""

    def __init__(self, seed):
        self.seed = seed

    def lattice(self, x, y):
        h = (x * 374761393 + y * 668265263 + self.seed * 2246822519) & 0xFFFFFFFF
        h = ((h ^ (h >> 13)) * 1274126177) & 0xFFFFFFFF
        return ((h ^ (h >> 16)) & 0xFFFF) / 65535

    def at(self, x, y, period_x=1 << 30, period_y=1 << 30):
        x0, y0 = math.floor(x), math.floor(y)
        fx, fy = smoothstep(0, 1, x - x0), smoothstep(0, 1, y - y0)
        xs, ys = (x0 % period_x, (x0 + 1) % period_x), (y0 % period_y, (y0 + 1) % period_y)
        top = mix(self.lattice(xs[0], ys[0]), self.lattice(xs[1], ys[0]), fx)
        bottom = mix(self.lattice(xs[0], ys[1]), self.lattice(xs[1], ys[1]), fx)
        return mix(top, bottom, fy)

    def fractal(self, x, y, octaves, period_x, period_y):
        total, weight, amount = 0.0, 0.0, 1.0
        for k in range(octaves):
            f = 1 << k
            total += amount * self.at(x * f, y * f, period_x * f, period_y * f)
            weight += amount
            amount *= 0.5
        return total / weight


def picture(width, height, colour, levels=48):
    """PNG bytes. colour(u, v) gives sRGB values 0..1, kept to that many levels so that the file stays small."""
    def byte(x):
        return round(round(min(max(x, 0.0), 1.0) * levels) / levels * 255)
    rows = bytearray()
    for y in range(height):
        rows.append(0)
        for x in range(width):
            rows += bytes(byte(c) for c in colour((x + 0.5) / width, (y + 0.5) / height))

    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    header = struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0)
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header) + chunk(b'IDAT', zlib.compress(bytes(rows), 9)) +
            chunk(b'IEND', b''))


# ---- files -----------------------------------------------------------------------------------------------------------

class Scene:
    """Collects meshes, materials and nodes and writes NAME.gltf, NAME.bin and the pictures into one folder."""

    def __init__(self, generator):
        self.binary = bytearray()
        self.files = {}
        self.gltf = {'asset': {'version': '2.0', 'generator': generator}, 'scene': 0,
                     'scenes': [{'nodes': []}], 'nodes': [], 'meshes': [], 'materials': [], 'accessors': [],
                     'bufferViews': [], 'cameras': []}

    def _append(self, key, value):
        items = self.gltf.setdefault(key, [])
        items.append(value)
        return len(items) - 1

    def texture(self, file, png):
        self.files[file] = png
        if 'samplers' not in self.gltf:
            self._append('samplers', {'magFilter': 9729, 'minFilter': 9987, 'wrapS': 10497, 'wrapT': 10497})
        image = self._append('images', {'uri': file})
        return self._append('textures', {'sampler': 0, 'source': image})

    def material(self, name, colour=(1, 1, 1), texture=None, emission=None, two_sided=False):
        """Colour: linear reflectance. Emission: linear radiance, may exceed 1."""
        surface = {'baseColorFactor': [*colour, 1], 'metallicFactor': 0, 'roughnessFactor': 1}
        if texture is not None:
            surface['baseColorTexture'] = {'index': texture}
        material = {'name': name, 'pbrMetallicRoughness': surface}
        if emission:
            strength = max(1.0, *emission)
            material['emissiveFactor'] = [round(e / strength, 6) for e in emission]
            if strength > 1:
                material['extensions'] = {'KHR_materials_emissive_strength': {'emissiveStrength': strength}}
                self.gltf['extensionsUsed'] = ['KHR_materials_emissive_strength']
        if two_sided:
            material['doubleSided'] = True
        return self._append('materials', material)

    def _accessor(self, values, kind, code, component, target, bounds=False):
        while len(self.binary) % 4:
            self.binary.append(0)
        offset = len(self.binary)
        flat = [x for v in values for x in v] if kind != 'SCALAR' else values
        self.binary += struct.pack(f'<{len(flat)}{code}', *flat)
        view = self._append('bufferViews', {'buffer': 0, 'byteOffset': offset,
                                            'byteLength': len(self.binary) - offset, 'target': target})
        accessor = {'bufferView': view, 'componentType': component, 'count': len(values), 'type': kind}
        if bounds:
            single = [struct.unpack('<3f', struct.pack('<3f', *v)) for v in values]
            accessor['min'] = [min(v[k] for v in single) for k in range(3)]
            accessor['max'] = [max(v[k] for v in single) for k in range(3)]
        return self._append('accessors', accessor)

    def mesh(self, name, mesh, material):
        wide = len(mesh.positions) > 65535
        return self._append('meshes', {'name': name, 'primitives': [{
            'attributes': {'POSITION': self._accessor(mesh.positions, 'VEC3', 'f', 5126, 34962, bounds=True),
                           'NORMAL': self._accessor(mesh.normals, 'VEC3', 'f', 5126, 34962),
                           'TEXCOORD_0': self._accessor(mesh.uvs, 'VEC2', 'f', 5126, 34962)},
            'indices': self._accessor(mesh.triangles, 'SCALAR', 'I' if wide else 'H', 5125 if wide else 5123, 34963),
            'material': material}]})

    def node(self, name, mesh=None, translation=None, rotation=None, scale=None, parent=None, camera=None):
        node = {'name': name}
        if mesh is not None:
            node['mesh'] = mesh
        if camera is not None:
            node['camera'] = camera
        for key, value in (('translation', translation), ('rotation', rotation), ('scale', scale)):
            if value is not None:
                node[key] = [round(x, 6) for x in value]
        index = self._append('nodes', node)
        owner = self.gltf['nodes'][parent] if parent is not None else None
        (owner.setdefault('children', []) if owner is not None else self.gltf['scenes'][0]['nodes']).append(index)
        return index

    def camera(self, name, eye, target, vertical_angle, aspect):
        camera = self._append('cameras', {'name': name, 'type': 'perspective', 'perspective': {
            'yfov': round(math.radians(vertical_angle), 6), 'aspectRatio': aspect, 'znear': 0.01, 'zfar': 100}})
        return self.node(name, translation=eye, rotation=look_at(eye, target), camera=camera)

    def write(self, folder, name):
        self.gltf['buffers'] = [{'uri': name + '.bin', 'byteLength': len(self.binary)}]
        gltf = {key: value for key, value in self.gltf.items() if value != []}
        self.files[name + '.bin'] = bytes(self.binary)
        self.files[name + '.gltf'] = (json.dumps(gltf, separators=(',', ':')) + '\n').encode()
        os.makedirs(folder, exist_ok=True)
        for file, data in self.files.items():
            with open(os.path.join(folder, file), 'wb') as out:
                out.write(data)
