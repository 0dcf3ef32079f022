// Subdivision against what is known of its limit surfaces, and on meshes that are hard on it.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "engine/compile/scene_compiler.h"
#include "engine/compile/subdivision.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// A cube of side 2 with shared vertices; each side is an island of texture coordinates with a material of its own.
MeshData cube() {
    MeshData m;
    for (int i = 0; i < 8; ++i)
        m.vertices.push_back({i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f});
    m.indices = {4, 5, 7, 6, 1, 0, 2, 3, 5, 1, 3, 7, 0, 4, 6, 2, 6, 7, 3, 2, 0, 1, 5, 4};
    m.perPolygon.assign(6, 4);
    for (int side = 0; side < 6; ++side) {
        const float u = static_cast<float>(side);
        for (const Float3 uv : {Float3{u, 0, 0}, {u + 0.5f, 0, 0}, {u + 0.5f, 0.5f, 0}, {u, 0.5f, 0}}) {
            m.uvIndices.push_back(static_cast<int>(m.uvs.size()));
            m.uvs.push_back(uv);
        }
        m.materials.push_back(side);
        m.objects.push_back(10 + side);
    }
    return m;
}

Node subdivided(const MeshData& mesh, int level, int boundary = 0, float sharpness = 0.0f) {
    Node n = mesh.node();
    n.set(A_SUBD_LEVEL, level).set(A_SUBD_BOUNDARY, boundary).set(A_SUBD_SHARPNESS, sharpness);
    return n;
}

struct Built {
    std::shared_ptr<const CompiledMesh> mesh;
    std::string log;
};

Built build(const NodeRecordPtr& node) {
    Scene scene(8, 8, 1);
    Built out;
    SceneCompiler compiler([&](const std::string& line) { out.log += line; });
    const RenderScenePtr built = compiler.apply(scene.delta(scene.keep(node))).scene;
    if (!built->geometry->meshes.empty()) out.mesh = built->geometry->meshes[0];
    return out;
}

/// Calls f with the positions and the normals of each polygon.
template <typename F>
void forEachPolygon(const CompiledMesh& mesh, F f) {
    for (std::uint32_t p = 0; p < mesh.polygons; ++p) {
        Float3 at[4], normal[4];
        for (std::uint32_t i = 0; i < mesh.corners(p); ++i) {
            const std::uint32_t c = mesh.corner(p) + i;
            at[i] = (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[c])];
            if (mesh.normals) normal[i] = (*mesh.normals)[static_cast<std::size_t>((*mesh.normalIndices)[c])];
        }
        f(p, at, normal);
    }
}

double volumeOf(const CompiledMesh& mesh) {
    double volume = 0.0;
    forEachPolygon(mesh, [&](std::uint32_t, const Float3* at, const Float3*) {
        volume += dot(at[0], cross(at[1], at[2])) / 6.0 + dot(at[0], cross(at[2], at[3])) / 6.0;
    });
    return volume;
}

TEST(Subdivision, ACubeApproachesItsLimit) {
    // Limit of a vertex of valence n: (n n v + 4 sum of neighbours + sum of opposite corners) / (n (n + 5)), Halstead
    // et al. 1993. A corner of the cube goes to half of itself; the middle of a side, of valence 4 after one step, to
    // 68/81.
    const float corner = 0.5f * std::sqrt(3.0f), middle = 68.0f / 81.0f;
    double last = 0.0, lastStep = 0.0;
    for (const int level : {1, 2, 3, 4, 5}) {
        const Built b = build(subdivided(cube(), level));
        ASSERT_TRUE(b.mesh);
        EXPECT_EQ(b.log, "");
        EXPECT_EQ(b.mesh->polygons, 6u << (2 * level));
        EXPECT_EQ(b.mesh->cornersPerPolygon, 4u);
        EXPECT_TRUE(b.mesh->paddedVertices.empty()) << "the refined vertices are not copied again";
        float least = 2.0f, most = 0.0f;
        forEachPolygon(*b.mesh, [&](std::uint32_t, const Float3* at, const Float3* normal) {
            const Float3 face = normalize(cross(at[2] - at[0], at[3] - at[1]));
            for (int i = 0; i < 4; ++i) {
                least = std::min(least, length(at[i]));
                most = std::max(most, length(at[i]));
                EXPECT_NEAR(length(normal[i]), 1.0f, 1e-5f);
                EXPECT_GT(dot(normal[i], face), level < 3 ? 0.6f : 0.9f) << "outwards, near the face's own";
            }
        });
        // Vertices lie on the limit surface at every level.
        EXPECT_NEAR(least, middle, 1e-5f);
        EXPECT_NEAR(most, corner, 1e-5f);
        const double volume = volumeOf(*b.mesh), step = volume - last;
        EXPECT_GT(volume, last);
        if (level > 2) {
            EXPECT_NEAR(step / lastStep, 0.25, 0.05) << "errors fall with the square of the edges";
        }
        last = volume;
        lastStep = step;
    }
    const double third = 4.0 / 3.0 * kPi;
    EXPECT_GT(last, third * std::pow(middle, 3));
    EXPECT_LT(last, third * std::pow(corner, 3));
}

TEST(Subdivision, PolygonsHandDownWhatTheyHold) {
    const Built b = build(subdivided(cube(), 3));
    ASSERT_TRUE(b.mesh);
    std::map<std::uint32_t, int> count;
    for (std::uint32_t p = 0; p < b.mesh->polygons; ++p) {
        const std::uint32_t side = b.mesh->material(p);
        ++count[side];
        EXPECT_EQ((*b.mesh->objectIndices)[p], static_cast<int>(side) + 10);
        for (std::uint32_t i = 0; i < 4; ++i) {
            const Float3 uv = (*b.mesh->uvs[0])[static_cast<std::size_t>((*b.mesh->uvIndices[0])[4 * p + i])];
            const float u = static_cast<float>(side);
            EXPECT_TRUE(uv.x >= u - 1e-6f && uv.x <= u + 0.5f + 1e-6f && uv.y >= -1e-6f && uv.y <= 0.5f + 1e-6f)
                << "island " << side << ": " << uv.x << ", " << uv.y;
        }
    }
    EXPECT_EQ(count.size(), 6u);
    for (const auto& [side, polygons] : count) EXPECT_EQ(polygons, 64) << side;
}

/// An island of several polygons, its corners written one by one as exporters do, is smooth inside: its middle row does
/// not keep the kink of the coarse coordinates.
TEST(Subdivision, CoordinatesAreSmoothInsideAnIsland) {
    MeshData m;
    const float u[4] = {0.0f, 0.1f, 0.9f, 1.0f};
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 4; ++i) m.vertices.push_back({static_cast<float>(i), static_cast<float>(j), 0});
    }
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            m.perPolygon.push_back(4);
            for (const auto& [x, y] : {std::pair{i, j}, {i + 1, j}, {i + 1, j + 1}, {i, j + 1}}) {
                m.indices.push_back(4 * y + x);
                m.uvIndices.push_back(static_cast<int>(m.uvs.size()));
                m.uvs.push_back({u[x], u[y], 0});
            }
        }
    }
    const Built b = build(subdivided(m, 1));
    ASSERT_TRUE(b.mesh);
    float nearest = 1.0f;  // of the refined coordinates to where the coarse corner (0.1, 0.1) was
    std::size_t distinct = b.mesh->uvs[0]->size();
    for (const Float3 uv : *b.mesh->uvs[0]) nearest = std::min(nearest, std::hypot(uv.x - 0.1f, uv.y - 0.1f));
    EXPECT_EQ(distinct, 49u) << "one island of 7 by 7 corners";
    EXPECT_GT(nearest, 0.02f);
}

TEST(Subdivision, BoundaryModes) {
    MeshData m;
    m.quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0});
    struct Case {
        int mode;
        float corner;  // distance of the farthest vertex from the middle
    };
    // One quad: its outline is a cubic B-spline through four control points, or it stays a square.
    for (const Case& c : {Case{0, std::sqrt(2.0f)}, Case{1, 2.0f / 3.0f * std::sqrt(2.0f)}, Case{2, std::sqrt(2.0f)},
                          Case{3, std::sqrt(2.0f)}}) {
        const Built b = build(subdivided(m, 3, c.mode));
        ASSERT_TRUE(b.mesh) << c.mode;
        EXPECT_EQ(b.mesh->polygons, 64u) << "no mode loses polygons";
        float most = 0.0f;
        forEachPolygon(*b.mesh, [&](std::uint32_t, const Float3* at, const Float3* normal) {
            for (int i = 0; i < 4; ++i) {
                most = std::max(most, length(at[i]));
                EXPECT_NEAR(normal[i].z, 1.0f, 1e-5f);
            }
        });
        EXPECT_NEAR(most, c.corner, 1e-4f) << "mode " << c.mode;
    }
    // A bent strip: its long side is rounded unless it is fixed.
    MeshData strip;
    strip.vertices = {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {0, 0, 1}, {1, 1, 1}, {2, 0, 1}};
    strip.indices = {0, 1, 4, 3, 1, 2, 5, 4};
    strip.perPolygon = {4, 4};
    for (const int mode : {1, 2, 3}) {
        float top = 0.0f;
        const Built bent = build(subdivided(strip, 3, mode));
        for (const Float3 p : *bent.mesh->vertices) top = std::max(top, p.y);
        EXPECT_NEAR(top, mode == 3 ? 1.0f : 2.0f / 3.0f, 1e-5f) << mode;
    }
}

TEST(Subdivision, SharpnessKeepsTheShape) {
    double last = 0.0;
    for (const float sharpness : {0.0f, 1.0f, 2.0f, 10.0f}) {
        const Built b = build(subdivided(cube(), 4, 0, sharpness));
        const double volume = volumeOf(*b.mesh);
        EXPECT_GT(volume, last) << sharpness;
        last = volume;
        if (sharpness < 10.0f) continue;
        forEachPolygon(*b.mesh, [&](std::uint32_t, const Float3* at, const Float3* normal) {
            const Float3 face = normalize(cross(at[2] - at[0], at[3] - at[1]));
            for (int i = 0; i < 4; ++i) EXPECT_GT(dot(normal[i], face), 0.999f) << "flat sides up to their edges";
        });
    }
    EXPECT_NEAR(last, 8.0, 1e-3);
}

TEST(Subdivision, TrianglesAndMixedMeshes) {
    MeshData tetrahedron;
    tetrahedron.vertices = {{1, 1, 1}, {-1, -1, 1}, {-1, 1, -1}, {1, -1, -1}};
    tetrahedron.indices = {0, 1, 3, 0, 2, 1, 0, 3, 2, 1, 2, 3};
    tetrahedron.perPolygon.assign(4, 3);
    EXPECT_EQ(build(subdivided(tetrahedron, 3)).mesh->polygons, 4u * 3 * 16);
    const Built ball = build(subdivided(MeshData::sphere(12, 8), 2));
    ASSERT_TRUE(ball.mesh);
    EXPECT_EQ(ball.mesh->polygons, (24u * 3 + 72u * 4) * 4);
    for (const Float3 p : *ball.mesh->vertices) EXPECT_LT(length(p), 1.01f);
}

TEST(Subdivision, LevelsAreCapped) {
    struct Case {
        std::size_t corners;
        int wanted, given;
    };
    for (const Case& c : {Case{24, 3, 3}, Case{24, 1000, 10}, Case{2'000'000, 5, 2}, Case{8'000'000, 5, 1},
                          Case{8'000'001, 1, 0}, Case{3, 1000, kMaxSubdivisionLevel}}) {
        EXPECT_EQ(affordableLevel(c.corners, c.wanted), c.given) << c.corners;
    }
    MeshData m;
    m.triangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    const Built b = build(subdivided(m, kMaxSubdivisionLevel + 1).name("sheet"));
    ASSERT_TRUE(b.mesh);
    EXPECT_EQ(b.mesh->polygons, 3u << (2 * (kMaxSubdivisionLevel - 1)));
    EXPECT_NE(b.log.find("\"sheet\" is subdivided to level " + std::to_string(kMaxSubdivisionLevel)), std::string::npos)
        << b.log;
}

TEST(Subdivision, EditsOfItRebuildAndNothingElseDoes) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr node = scene.keep(cube().node());
    SceneCompiler compiler(nullptr);
    compiler.apply(scene.delta(node));
    std::uint64_t built = 1;
    const auto edit = [&](const Node& changed, bool rebuilds, const char* what) {
        SceneDelta d = scene.delta(node);
        d.changed = {changed};
        compiler.apply(d);
        built += rebuilds;
        EXPECT_EQ(compiler.counters().meshesBuilt, built) << what;
    };
    edit(Node(node).set(A_SUBD_BOUNDARY, 1).set(A_SUBD_SHARPNESS, 2.0f), false, "without a level");
    edit(Node(node).set(A_SUBD_LEVEL, 2), true, "level");
    edit(Node(node).set(A_SUBD_LEVEL, 2).name("other"), false, "name");
    edit(Node(node).set(A_SUBD_LEVEL, 2).set(A_SUBD_SHARPNESS, 2.0f), true, "sharpness");
    edit(Node(node).set(A_SUBD_LEVEL, 0), true, "off");
}

/// Polygons that share sides in threes, repeat corners or wind against each other are refined or refused, and every
/// number that comes out is finite.
TEST(Subdivision, AnyTopologyIsSurvived) {
    std::mt19937 random(3);
    for (int run = 0; run < 2000; ++run) {
        MeshData m;
        const int vertices = 3 + run % 9;
        const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
        for (int i = 0; i < vertices; ++i) {
            m.vertices.push_back(
                {static_cast<float>(below(4)), static_cast<float>(below(4)), static_cast<float>(below(3))});
        }
        for (int p = 0; p < 1 + run % 12; ++p) {
            const int n = 3 + below(2);
            m.perPolygon.push_back(n);
            for (int i = 0; i < n; ++i) {
                m.indices.push_back(below(vertices));
                m.uvIndices.push_back(below(2));
            }
        }
        m.uvs = {{0, 0, 0}, {1, std::nanf(""), 0}};
        const Built b = build(subdivided(m, 1 + run % 3, run % 4, static_cast<float>(run % 5) * 0.7f));
        if (!b.mesh) continue;
        for (const Float3 p : *b.mesh->vertices) ASSERT_TRUE(isFinite(p)) << run;
        if (b.mesh->normals) {
            for (const Float3 n : *b.mesh->normals) ASSERT_TRUE(isFinite(n)) << run;
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test
