// Scenes that grow by a number: lamps, polygons, instances.
#pragma once

#include "engine/render/sampler.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {

/// Repeatable numbers from 0 to 1.
struct Numbers {
    std::uint32_t state = 1;
    float operator()() { return sobol::toUnit(sobol::hash(state++)); }
};

/// A floor of a hundred metres with boxes, under lamps of different height and turn.
struct Town {
    NodeRecordPtr root, emission, lamps;
    std::vector<Matrix<float>> places;  ///< of the lamps
};

enum class LampKind { Tents, Spots };  ///< Spots: beams of ten degrees that look aslant

inline Town town(Scene& scene, int lamps, LampKind kind = LampKind::Tents) {
    Numbers random;
    Town t;
    std::vector<Matrix<float>> houses;
    for (int i = 0; i < lamps; ++i) {
        const float turn = 6.2831853f * random(), c = std::cos(turn), s = std::sin(turn);
        const float spread = lamps == 1 ? 0.0f : 100.0f;
        Matrix<float> m = translation({spread * (random() - 0.5f), 1.0f + 3.0f * random(), spread * (random() - 0.5f)});
        m.m[0][0] = m.m[2][2] = c;
        m.m[0][2] = s;
        m.m[2][0] = -s;
        if (kind == LampKind::Spots) {
            const float tilt = 1.2f * random(), k = std::cos(tilt), l = std::sin(tilt);
            Matrix<float> tilted;
            tilted.m[0][0] = tilted.m[1][1] = k;
            tilted.m[0][1] = -l;
            tilted.m[1][0] = l;
            m = multiply(m, tilted);
        }
        t.places.push_back(m);
    }
    for (int i = 0; i < 2000; ++i) {
        Matrix<float> m = scaling({0.5f, 0.3f + random(), 0.5f});
        m.m[0][3] = 100.0f * (random() - 0.5f);
        m.m[2][3] = 100.0f * (random() - 0.5f);
        houses.push_back(m);
    }
    Node e(NT_EMIS_TEXTURE);
    // About the same light whatever the number of lamps.
    e.connect(P_EMIS_TEXTURE, scene.keep(rgb({1, 0.8f, 0.5f}))).set(P_POWER, 4e5f / static_cast<float>(lamps));
    e.set(P_DOUBLE_SIDED, false);
    if (kind == LampKind::Spots) {
        std::vector<float> map;
        for (int y = 0; y < 180; ++y) {
            // The front looks at the lower edge.
            const float angle = 179.5f - static_cast<float>(y), share = 0.01f + std::exp(-0.5f * angle * angle / 70.0f);
            map.insert(map.end(), {share, share, share, 1.0f, share, share, share, 1.0f});
        }
        e.connect(P_DISTRIBUTION, scene.keep(image(2, 180, map)));
    }
    t.emission = scene.keep(e);
    const NodeRecordPtr glow =
        scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, scene.keep(rgb({}))).connect(P_EMISSION, t.emission));
    // A tent of two squares, so that the lights have directions.
    MeshData lamp;
    lamp.quad({-0.05f, 0.03f, 0.05f}, {-0.05f, 0.03f, -0.05f}, {0, 0, -0.05f}, {0, 0, 0.05f})
        .quad({0, 0, 0.05f}, {0, 0, -0.05f}, {0.05f, 0.03f, -0.05f}, {0.05f, 0.03f, 0.05f});
    const NodeRecordPtr floor = scene.keep(
        MeshData().quad({-60, 0, 60}, {60, 0, 60}, {60, 0, -60}, {-60, 0, -60}).node({scene.diffuse(splat(0.7f))}));
    const NodeRecordPtr house =
        scene.keep(MeshData().box({-1, 0, -1}, {1, 2, 1}).node({scene.diffuse({0.6f, 0.6f, 0.7f})}));
    scene.camera.set(P_POSITION, Float3{0, 12, 40}).set(P_TARGET, Float3{0, 0, 5}).set(P_FOV, 50.0f);
    t.lamps = scene.scatter(scene.keep(lamp.node({glow})), t.places);
    t.root = scene.group({floor, scene.scatter(house, houses), t.lamps});
    return t;
}

/// A rolling sheet of n by n quads, or of twice as many triangles.
inline NodeRecordPtr sheet(Scene& scene, int n, bool triangles = false) {
    MeshData m;
    const std::size_t quads = static_cast<std::size_t>(n) * n;
    m.vertices.reserve(static_cast<std::size_t>(n + 1) * (n + 1) + 1);
    for (int j = 0; j <= n; ++j) {
        for (int i = 0; i <= n; ++i) {
            const float x = 2.0f * static_cast<float>(i) / static_cast<float>(n) - 1.0f;
            const float z = 2.0f * static_cast<float>(j) / static_cast<float>(n) - 1.0f;
            m.vertices.push_back({x, 0.1f * std::sin(9 * x) * std::cos(7 * z), z});
        }
    }
    m.indices.reserve((triangles ? 6 : 4) * quads + 1);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const int v = j * (n + 1) + i;
            if (triangles) {
                m.indices.insert(m.indices.end(), {v, v + n + 1, v + n + 2, v, v + n + 2, v + 1});
            } else {
                m.indices.insert(m.indices.end(), {v, v + n + 1, v + n + 2, v + 1});
            }
        }
    }
    m.perPolygon.assign(triangles ? 2 * quads : quads, triangles ? 3 : 4);
    scene.camera.set(P_POSITION, Float3{1.2f, 1, 1.2f}).set(P_TARGET, Float3{});
    return scene.keep(m.node({scene.diffuse(splat(0.8f))}));
}

/// A square kilometre of boulders of 4,608 polygons, all of them instances of one mesh, none like its neighbour.
inline NodeRecordPtr boulders(Scene& scene, int count) {
    Numbers random;
    MeshData stone = MeshData::sphere(96, 48);
    for (std::size_t i = 0; i < stone.vertices.size(); ++i) {
        Float3& p = stone.vertices[i];
        p *= 1.0f + 0.1f * std::sin(7 * p.x) * std::cos(5 * p.z) * std::sin(6 * p.y);
    }
    stone.normals.clear();
    stone.normalIndices.clear();
    std::vector<Matrix<float>> places;
    for (int i = 0; i < count; ++i) {
        const float turn = 6.2831853f * random(), size = 0.5f + 2.0f * random();
        const float c = size * std::cos(turn), s = size * std::sin(turn);
        Matrix<float> m = scaling(splat(size));
        m.m[0][0] = m.m[2][2] = c;
        m.m[0][2] = s;
        m.m[2][0] = -s;
        m.m[0][3] = 1000.0f * (random() - 0.5f);
        m.m[2][3] = 1000.0f * (random() - 0.5f);
        places.push_back(m);
    }
    const NodeRecordPtr ground = scene.keep(MeshData()
                                                .quad({-600, 0, 600}, {600, 0, 600}, {600, 0, -600}, {-600, 0, -600})
                                                .node({scene.diffuse(splat(0.4f))}));
    scene.camera.set(P_POSITION, Float3{0, 40, 300}).set(P_TARGET, Float3{0, 0, 150}).set(P_FOV, 50.0f);
    return scene.group({ground, scene.scatter(scene.keep(stone.node({scene.diffuse(splat(0.6f))})), places)});
}

}  // namespace Lumora::engine::test
