// One picture of all textures, each on a square with a ball before it. With LUMORA_TEXTURE_SHEET in the environment the
// picture is large and is written to the file of that name (PPM).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "engine/render/image_texture.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr int kColumns = 8;

/// A picture with a frame and a diagonal, so that turns and mirrors are seen.
Node testPicture(NodeType type) {
    constexpr int kSize = 64;
    std::vector<unsigned char> pixels;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const bool frame = x < 3 || y < 3 || x >= kSize - 3 || y >= kSize - 3, line = std::abs(x + y - kSize) < 3;
            const int r = frame ? 255 : 4 * x, g = line ? 255 : 4 * (kSize - 1 - y);
            for (const int v : {r, g, 60, line ? 0 : 255}) pixels.push_back(static_cast<unsigned char>(v));
        }
    }
    return Node(type)
        .set(A_SIZE, Vec2<int>{kSize, kSize})
        .set(A_IMAGE_TYPE, 0)
        .set(A_BUFFER, shared(pixels))
        .set(P_POWER, 1.0f);
}

struct Cell {
    const char* name;
    NodeRecordPtr texture;
};

std::vector<Cell> cells(Scene& s) {
    const auto image = [&] { return testPicture(NT_TEX_IMAGE); };
    const auto under = [&](NodeType projection, float scale) {
        Node p(projection);
        const Node t = Node(NT_TRANSFORM_3D).set(P_SCALE, splat(scale));
        p.connect(P_TRANSFORM, s.keep(t)).set(P_COORDINATE_SPACE, 3);
        return s.keep(p);
    };
    const NodeRecordPtr flat = under(NT_PROJ_FLAT, 0.2f);
    const NodeRecordPtr red = s.keep(rgb({0.8f, 0.1f, 0.05f})), blue = s.keep(rgb({0.05f, 0.2f, 0.8f}));
    const NodeRecordPtr noise = s.keep(Node(NT_TEX_NOISE).connect(P_PROJECTION, flat));
    const NodeRecordPtr saw = s.keep(Node(NT_TEX_SAWWAVE)), kept = s.keep(image());
    const auto ramp = [&](int kind) {
        Node n(NT_TEX_GRADIENT);
        n.connect(P_INPUT, saw).set(P_INTERPOLATION, kind);
        for (const float x : {0.1f, 0.4f, 0.6f}) {
            n.dynamic(s.keep(constant(x))).dynamic(s.keep(rgb({x, 1.0f - x, x == 0.4f ? 1.0f : 0.1f})));
        }
        return n;
    };
    const auto noised = [&](int type) {
        return Node(NT_TEX_NOISE).set(P_NOISE_TYPE, type).set(P_OCTAVES, 3).connect(P_PROJECTION, flat);
    };
    const auto of = [&](NodeType type) { return Node(type).connect(P_PROJECTION, flat); };
    const auto pair = [&](NodeType type) { return Node(type).connect(P_TEXTURE1, red).connect(P_TEXTURE2, kept); };
    const auto mixed = [&](NodeType type) { return pair(type).connect(P_AMOUNT, noise); };
    Node triplanar(NT_TEX_TRIPLANAR);
    const NodeRecordPtr sideways = s.keep(image().connect(P_PROJECTION, s.keep(Node(NT_PROJ_TRIPLANAR))));
    for (const PinId face : {P_POSITIVE_X, P_NEGATIVE_X, P_POSITIVE_Y, P_NEGATIVE_Y, P_POSITIVE_Z, P_NEGATIVE_Z}) {
        triplanar.connect(face, face == P_POSITIVE_Y ? red : sideways);
    }
    const Node half = Node(NT_TRANSFORM_3D).set(P_SCALE, splat(0.3f));
    triplanar.connect(P_TRANSFORM, s.keep(half)).set(P_BLEND_ANGLE, 20.0f);
    const NodeRecordPtr third =
        s.keep(Node(NT_TRANSFORM_2D).set(P_SCALE, Vec2<float>{0.3f, 0.3f}).set(P_ROTATION, 20.0f));
    std::vector<Cell> list = {
        {"image", image()},
        {"grey", testPicture(NT_TEX_FLOATIMAGE)},
        {"alpha", testPicture(NT_TEX_ALPHAIMAGE)},
        {"wrapped", image().connect(P_TRANSFORM, third)},
        {"black", image().connect(P_TRANSFORM, third).set(P_BORDER_MODE, 1)},
        {"clamped", image().connect(P_TRANSFORM, third).set(P_BORDER_MODE, 3)},
        {"mirrored", image().connect(P_TRANSFORM, third).set(P_BORDER_MODE, 4)},
        {"inverted", image().set(P_INVERT, true)},
        {"box", image().connect(P_PROJECTION, under(NT_PROJ_BOX, 0.3f))},
        {"flat", image().connect(P_PROJECTION, under(NT_PROJ_FLAT, 0.3f))},
        {"cylindrical", image().connect(P_PROJECTION, under(NT_PROJ_CYLINDRICAL, 0.3f))},
        {"spherical", image().connect(P_PROJECTION, under(NT_PROJ_SPHERICAL, 0.3f))},
        {"perspective", image().connect(P_PROJECTION, under(NT_PROJ_PERSPECTIVE, 0.3f))},
        {"triplanar", triplanar},
        {"checks", of(NT_TEX_CHECKS)},
        {"saw", of(NT_TEX_SAWWAVE)},
        {"triangle", of(NT_TEX_TRIANGLEWAVE)},
        {"sine", of(NT_TEX_SINEWAVE)},
        {"turbulence", of(NT_TEX_TURBULENCE)},
        {"fractal", of(NT_TEX_TURBULENCE).set(P_TURBULENCE, false)},
        {"marble", of(NT_TEX_MARBLE)},
        {"ridged", of(NT_TEX_RIDGEDFRACTAL)},
        {"noise", noised(0)},
        {"smoke", noised(1)},
        {"circular", noised(2)},
        {"chips", noised(3)},
        {"contrast", noised(0).set(P_CONTRAST, 10.0f)},
        {"steps", ramp(0)},
        {"linear", ramp(1)},
        {"smooth", ramp(2)},
        {"spline", ramp(3)},
        {"falloff", Node(NT_TEX_FALLOFF).set(P_INDEX_FALLOFF, 2.0f)},
        {"falloff up", Node(NT_TEX_FALLOFF).set(P_MODE, 2).set(P_INDEX_FALLOFF, 1.0f)},
        {"dirt", Node(NT_TEX_DIRT).set(P_RADIUS, 0.3f)},
        {"random", Node(NT_TEX_RANDOMCOLOR)},
        {"range", Node(NT_TEX_INSTANCERANGE).set(P_MAX_INSTANCE_ID, 48)},
        {"instance", testPicture(NT_TEX_INSTANCECOLOR)},
        {"gaussian", Node(NT_TEX_GAUSSIAN).connect(P_WAVELENGTH, saw).set(P_POWER, 3.0f)},
        {"mix", mixed(NT_TEX_MIX)},
        {"cosine mix", mixed(NT_TEX_COSINEMIX)},
        {"multiply", pair(NT_TEX_MULTIPLY)},
        {"add", pair(NT_TEX_ADD)},
        {"subtract", Node(NT_TEX_SUBTRACT).connect(P_TEXTURE1, kept).connect(P_TEXTURE2, blue)},
        {"compare", pair(NT_TEX_COMPARE).connect(P_TEXTURE3, noise).connect(P_TEXTURE4, blue)},
        {"clamp", Node(NT_TEX_CLAMP).connect(P_INPUT, noise).set(P_START, 0.45f).set(P_END, 0.55f)},
        {"invert", Node(NT_TEX_INVERT).connect(P_TEXTURE, noise)},
        {"hue", Node(NT_TEX_COLORCORRECTION).connect(P_TEXTURE, kept).set(P_HUE, 0.6f)},
        {"baked", Node(NT_TEX_BAKING).connect(P_TEXTURE, noise).set(P_RESOLUTION, Vec2<int>{64, 64}).set(P_SIZE, 1)},
    };
    for (Cell& cell : list) s.keep(cell.texture);
    return list;
}

/// A square of edge two with a ball of half its size before it.
MeshData subject() {
    MeshData m = MeshData::sphere(48, 32);
    for (Float3& v : m.vertices) {
        m.uvs.push_back({0.5f + std::atan2(v.x, v.z) / (2.0f * kPi), 0.5f + 0.5f * v.y, 0});
        v = v * 0.5f + Float3{0.35f, -0.35f, 0.5f};
    }
    m.uvIndices = m.indices;
    const int first = static_cast<int>(m.vertices.size()), uv = static_cast<int>(m.uvs.size());
    m.vertices.insert(m.vertices.end(), {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}});
    m.uvs.insert(m.uvs.end(), {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    const int normal = static_cast<int>(m.normals.size());
    m.normals.push_back({0, 0, 1});
    for (int i = 0; i < 4; ++i) {
        m.indices.push_back(first + i);
        m.uvIndices.push_back(uv + i);
        m.normalIndices.push_back(normal);
    }
    m.perPolygon.push_back(4);
    return m;
}

TEST(TextureSheet, EveryTextureShowsAPattern) {
    const char* path = std::getenv("LUMORA_TEXTURE_SHEET");
    const unsigned cell = path ? 150 : 24;
    Scene scene(1, 1, path ? 16 : 4);
    const std::vector<Cell> list = cells(scene);
    const auto rows = static_cast<unsigned>((list.size() + kColumns - 1) / kColumns);
    scene.film.set(P_RESOLUTION, Vec2<int>{static_cast<int>(cell * kColumns), static_cast<int>(cell * rows)});
    scene.environment(splat(1.0f));
    scene.kernel.set(P_MAX_DIFFUSE_DEPTH, 1);
    std::vector<NodeRecordPtr> placed;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, list[i].texture));
        const NodeRecordPtr mesh = scene.keep(subject().node({material}));
        const float x = 2.2f * static_cast<float>(i % kColumns), y = -2.2f * static_cast<float>(i / kColumns);
        Node at(NT_GEO_SCATTER);
        at.connect(P_GEOMETRY, mesh).set(A_TRANSFORM, shared(std::vector{translation({x, y, 0})}));
        placed.push_back(scene.keep(at.set(A_INSTANCE_IDS, shared(std::vector{static_cast<int>(i)}))));
    }
    const Float3 middle = {1.1f * (kColumns - 1), -1.1f * static_cast<float>(rows - 1), 0};
    scene.camera.set(P_ORTHOGRAPHIC, true).set(P_POSITION, middle + Float3{0, 0, 20}).set(P_TARGET, middle);
    scene.camera.set(P_FOV, 2.0f * std::atan(1.1f * kColumns / 20.0f) * 180.0f / kPi);
    Render render;
    const Image seen = render.picture(scene.delta(scene.group(placed)));
    EXPECT_EQ(render.logged(), "");
    for (std::size_t i = 0; i < list.size(); ++i) {
        const auto left = static_cast<unsigned>(i % kColumns) * cell, top = static_cast<unsigned>(i / kColumns) * cell;
        Float3 low = splat(kInfinity), high = splat(-kInfinity);
        for (unsigned k = 2 * cell; k < cell * (cell - 2); ++k) {
            if (k % cell < 2 || k % cell > cell - 3) continue;
            const Float3 c = pixel(seen, left + k % cell, top + k / cell);
            low = {std::min(low.x, c.x), std::min(low.y, c.y), std::min(low.z, c.z)};
            high = {std::max(high.x, c.x), std::max(high.y, c.y), std::max(high.z, c.z)};
        }
        const std::string name = list[i].name;
        const bool plain = name == "random" || name == "range" || name == "instance";
        if (!plain) {
            EXPECT_GT(maxComponent(high - low), 0.1f) << name;
        }
        EXPECT_LE(maxComponent(high), 1.1f) << name;
    }
    if (!path) return;
    std::ofstream file(path, std::ios::binary);
    file << "P6 " << seen.size.x << " " << seen.size.y << " 255\n";
    for (unsigned y = 0; y < seen.size.y; ++y) {
        for (unsigned x = 0; x < seen.size.x; ++x) {
            const Float3 c = pixel(seen, x, y);
            for (const float v : {c.x, c.y, c.z}) {
                file.put(static_cast<char>(static_cast<int>(255.0f * linearToSrgb(clamp01(v)) + 0.5f)));
            }
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test
