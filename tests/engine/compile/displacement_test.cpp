// Meshes that their materials move.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/sampler.h"
#include "engine/render/tracer.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

TEST(Displacement, MovesAlongNormalsAndFollowsItsNodesOnly) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr value = scene.keep(constant(1.0f)), color = scene.keep(rgb(splat(0.5f)));
    const auto height = [&](const NodeRecordPtr& of, float amount, float middle, int level) {
        Node node = of ? Node(of) : Node(NT_DISPLACEMENT);
        return NodeRecordPtr(
            node.connect(P_TEXTURE, value).set(P_AMOUNT, amount).set(P_MID_LEVEL, middle).set(P_LEVEL, level));
    };
    const NodeRecordPtr displacement = scene.keep(height(nullptr, 0.5f, 0.0f, 3));
    const NodeRecordPtr material =
        scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, color).connect(P_DISPLACEMENT, displacement));
    const NodeRecordPtr mesh =
        scene.keep(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).node({material}));
    SceneCompiler compiler(nullptr);
    SceneDelta delta = scene.delta(mesh);
    const auto meshNow = [&] { return compiler.apply(delta).scene->geometry->meshes.at(0); };
    auto built = meshNow();
    EXPECT_EQ(built->polygons, 64u);
    EXPECT_NEAR(built->boundsMin.z, 0.5f, 1e-5f);
    EXPECT_NEAR(built->boundsMax.z, 0.5f, 1e-5f);

    // Another colour of the material is no matter of the mesh.
    delta.changed = {Node(color).set(A_VALUE, splat(0.2f))};
    EXPECT_EQ(meshNow(), built);
    EXPECT_EQ(compiler.counters().meshesBuilt, 1u);

    delta.changed = {height(displacement, 0.5f, 0.5f, 3)};
    EXPECT_NEAR(meshNow()->boundsMax.z, 0.25f, 1e-5f) << "a middle of one half";
    delta.changed = {Node(value).set(A_VALUE, 0.0f)};
    EXPECT_NEAR(meshNow()->boundsMin.z, -0.25f, 1e-5f) << "the texture below";
    delta.changed = {height(displacement, 0.5f, 0.5f, 0)};
    EXPECT_EQ(meshNow()->polygons, 4u) << "divided once at least";

    delta.changed = {Node(material).connect(P_DISPLACEMENT, nullptr)};
    built = meshNow();
    EXPECT_EQ(built->polygons, 1u);
    EXPECT_EQ(built->boundsMax.z, 0.0f);
    // It may be the part of a mix.
    const NodeRecordPtr moved = Node(material);
    Node mix(NT_MAT_MIX);
    const NodeRecordPtr mixed = mix.connect(P_MATERIAL1, moved);
    delta.changed = {moved, mixed,
                     NodeRecordPtr(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).node({mixed}))};
    delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_RENDER_GEOMETRY, delta.changed.back()));
    EXPECT_NEAR(meshNow()->boundsMin.z, -0.25f, 1e-5f);
}

/// A ridge of two polygons that share no vertices but have the same normals where they meet, as at the seam of a ball.
TEST(Displacement, FollowsTheNormalsOfTheMesh) {
    Scene scene(8, 8, 1);
    const Node half = Node(NT_DISPLACEMENT).set(P_TEXTURE, Float3{1, 1, 1}).set(P_LEVEL, 3);
    for (const float height : {0.0f, 0.5f}) {
        const NodeRecordPtr displacement = scene.keep(Node(NodeRecordPtr(half)).set(P_AMOUNT, height));
        const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, displacement));
        MeshData ridge;
        ridge.quad({-1, 0, 0}, {0, 0, 1}, {0, 1, 1}, {-1, 1, 0}).quad({0, 0, 1}, {1, 0, 0}, {1, 1, 0}, {0, 1, 1});
        ridge.normals = {normalize(Float3{-1, 0, 0.3f}), {0, 0, 1}, normalize(Float3{1, 0, 0.3f})};
        ridge.normalIndices = {0, 1, 1, 0, 1, 2, 2, 1};
        SceneCompiler compiler(nullptr);
        const auto scenePtr = compiler.apply(scene.delta(scene.keep(ridge.node({material})))).scene;
        const CompiledMesh& mesh = *scenePtr->geometry->meshes.at(0);
        ASSERT_EQ(mesh.polygons, 128u);
        float top = 0.0f, smallest = 1.0f;
        for (std::size_t c = 0; c < mesh.vertexIndices->size(); ++c) {
            const Float3 p = (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[c])];
            const Float3 n = (*mesh.normals)[static_cast<std::size_t>((*mesh.normalIndices)[c])];
            top = std::max(top, p.z);
            if (std::abs(p.x) < 1e-4f && p.z > 0.9f) smallest = std::min(smallest, n.z);
            if (height == 0.0f) {
                const float t = std::abs(p.x);
                const Float3 mixed = ridge.normals[1] * (1 - t) + ridge.normals[p.x < 0 ? 0 : 2] * t;
                EXPECT_GT(dot(n, normalize(mixed)), 0.9999f) << p.x;
            }
        }
        EXPECT_NEAR(top, 1.0f + height, 1e-4f) << "the seam moves straight up on both sides";
        EXPECT_GT(smallest, 0.95f) << "and is smooth";
    }
}

/// Edges shared by polygons stay closed where the texture jumps: the vertices are shared.
TEST(Displacement, TearsNothingAlongSeams) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr checks = scene.keep(Node(NT_TEX_CHECKS));
    const NodeRecordPtr displacement =
        scene.keep(Node(NT_DISPLACEMENT).connect(P_TEXTURE, checks).set(P_AMOUNT, 0.1f).set(P_LEVEL, 4));
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, displacement));
    MeshData box;
    box.vertices = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, {-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1}};
    box.indices = {0, 3, 2, 1, 4, 5, 6, 7, 0, 1, 5, 4, 2, 3, 7, 6, 1, 2, 6, 5, 0, 4, 7, 3};
    box.perPolygon.assign(6, 4);
    for (int i = 0; i < 6; ++i) {
        box.uvs.insert(box.uvs.end(), {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
        for (int k = 0; k < 4; ++k) box.uvIndices.push_back(4 * i + k);
    }
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(scene.delta(scene.keep(box.node({material})))).scene;
    ASSERT_EQ(built->geometry->meshes.size(), 1u);
    EXPECT_EQ(built->geometry->meshes[0]->polygons, 6u * 256u);
    EXPECT_EQ(built->geometry->meshes[0]->vertices->size(), 6u * 256u + 2u) << "Euler: a closed surface";
    // From inside there is no way out.
    for (std::uint32_t i = 0; i < 2000; ++i) {
        Sampler sampler(i, 0, 0, 1);
        const auto u = sampler.next4();
        const float z = 2 * u[0] - 1, r = std::sqrt(1 - z * z);
        const Float3 direction{r * std::cos(6.2831853f * u[1]), r * std::sin(6.2831853f * u[1]), z};
        ASSERT_TRUE(intersect(*built->geometry, {{0, 0, 0}, direction}).valid());
    }
}

}  // namespace
}  // namespace Lumora::engine::test
