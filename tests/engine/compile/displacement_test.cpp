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

/// Where the middle of a square goes that is tilted about z, with its u along its first side.
Float3 middleMoved(int direction, Float3 value, float middle, std::vector<Float3> ownNormals = {}) {
    Scene scene(8, 8, 1);
    Node displacement(NT_DISPLACEMENT);
    displacement.connect(P_TEXTURE, scene.keep(rgb(value))).set(P_AMOUNT, 0.5f).set(P_MID_LEVEL, middle);
    displacement.set(P_LEVEL, 1).set(P_DISPLACEMENT_DIRECTION, direction);
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, scene.keep(displacement)));
    MeshData m;
    // The normal is (-0.6, 0.8, 0), u runs along (0.8, 0.6, 0), v along -z.
    m.quad({-0.8f, -0.6f, 1}, {0.8f, 0.6f, 1}, {0.8f, 0.6f, -1}, {-0.8f, -0.6f, -1});
    if (!ownNormals.empty()) {
        m.normals = std::move(ownNormals);
        m.normalIndices = {0, 0, 0, 0};
    }
    SceneCompiler compiler(nullptr);
    const auto mesh = compiler.apply(scene.delta(scene.keep(m.node({material})))).scene->geometry->meshes.at(0);
    // All vertices move alike, so the middle of the bounds is that of the square.
    return (mesh->boundsMin + mesh->boundsMax) * 0.5f;
}

TEST(Displacement, DirectionsSayWhereItGoes) {
    const auto near = [](Float3 a, Float3 b) { return length(a - b) < 1e-5f; };
    const Float3 n{-0.6f, 0.8f, 0}, u{0.8f, 0.6f, 0}, v{0, 0, -1}, c{0.9f, 0.3f, 0.6f};
    EXPECT_TRUE(near(middleMoved(0, c, 0.0f), n * 0.3f));
    EXPECT_TRUE(near(middleMoved(0, c, 0.5f), n * 0.05f));
    EXPECT_TRUE(near(middleMoved(0, c, 0.0f, {{0, 1, 0}}), {0, 0.3f, 0}));
    EXPECT_TRUE(near(middleMoved(1, c, 0.0f, {{0, 1, 0}}), n * 0.3f));
    EXPECT_TRUE(near(middleMoved(2, c, 0.5f), u * 0.2f + v * -0.1f + n * 0.05f));
    EXPECT_TRUE(near(middleMoved(3, c, 0.5f), {0.2f, -0.1f, 0.05f}));
    EXPECT_TRUE(near(middleMoved(4, c, 0.0f), {0, 0.3f, 0}));
    EXPECT_TRUE(near(middleMoved(77, c, 0.0f), {0, 0.3f, 0})) << "out of range";
}

TEST(Displacement, FiltersSmoothImages) {
    // One bright pixel of nine by nine: a tent of radius three leaves a ninth of it in the middle, as steep every way.
    std::vector<float> pixels(9 * 9 * 4, 0.0f);
    for (int c = 0; c < 4; ++c) pixels[4 * (4 * 9 + 4) + static_cast<std::size_t>(c)] = 1.0f;
    const auto heightAt = [&](int filter, float x, float y) {
        Scene scene(8, 8, 1);
        Node picture = image(9, 9, pixels);
        Node displacement(NT_DISPLACEMENT);
        displacement.connect(P_TEXTURE, scene.keep(picture.set(P_GAMMA, 1.0f).set(P_POWER, 1.0f)));
        displacement.set(P_AMOUNT, 1.0f).set(P_LEVEL, 1).set(P_FILTER_SIZE, filter);
        const NodeRecordPtr material =
            scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, scene.keep(displacement)));
        // A corner of the square lies on the point of the picture.
        MeshData m;
        m.quad({0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0});
        m.uvs = {{x, y, 0}, {x, y, 0}, {x, y, 0}, {x, y, 0}};
        m.uvIndices = {0, 1, 2, 3};
        SceneCompiler compiler(nullptr);
        return compiler.apply(scene.delta(scene.keep(m.node({material})))).scene->geometry->meshes.at(0)->boundsMax.z;
    };
    const float middle = 4.5f / 9, next = 5.5f / 9, far = 7.5f / 9;
    for (const int filter : {0, 1}) {
        EXPECT_NEAR(heightAt(filter, middle, middle), 1.0f, 1e-5f);
        EXPECT_NEAR(heightAt(filter, next, middle), 0.0f, 1e-5f);
    }
    EXPECT_NEAR(heightAt(3, middle, middle), 1.0f / 9.0f, 1e-5f);
    EXPECT_NEAR(heightAt(3, next, middle), 2.0f / 27.0f, 1e-5f);
    EXPECT_NEAR(heightAt(3, middle, next), 2.0f / 27.0f, 1e-5f);
    EXPECT_NEAR(heightAt(3, far, middle), 0.0f, 1e-5f);
    // The picture goes on beyond its sides, and all of it is averaged: nine by nine ones of one are one.
    std::fill(pixels.begin(), pixels.end(), 1.0f);
    EXPECT_NEAR(heightAt(20, 0.06f, 0.9f), 1.0f, 1e-4f);
}

TEST(Displacement, TooFineALevelIsToldAndCut) {
    Scene scene(8, 8, 1);
    Node displacement(NT_DISPLACEMENT);
    displacement.connect(P_TEXTURE, scene.keep(constant(1.0f))).set(P_AMOUNT, 0.1f).set(P_LEVEL, 16);
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, scene.keep(displacement)));
    MeshData m;
    m.box({-1, -1, -1}, {1, 1, 1});
    std::string log;
    SceneCompiler compiler([&](const std::string& line) { log += line + "\n"; });
    const RenderScenePtr built = compiler.apply(scene.delta(scene.keep(m.node({material})))).scene;
    ASSERT_EQ(built->geometry->meshes.size(), 1u);
    EXPECT_GT(built->geometry->meshes[0]->polygons, 100'000u);
    EXPECT_LE(built->geometry->meshes[0]->polygons, 1'000'000u);
    EXPECT_NE(log.find("in place of 16"), std::string::npos) << log;
}

/// Detail that the polygons are too coarse for is seen as a bump: the picture of a coarse mesh is that of a fine one.
TEST(Displacement, AutoBumpShowsWhatThePolygonsDoNot) {
    const auto picture = [](int level, int bump) {
        Scene scene(48, 48, 16);
        scene.camera.set(P_POSITION, Float3{0.5f, 0.5f, 4}).set(P_TARGET, Float3{0.5f, 0.5f, 0}).set(P_FOV, 12.0f);
        scene.kernel.set(P_MAX_DIFFUSE_DEPTH, 1);
        const NodeRecordPtr wave =
            scene.keep(Node(NT_TEX_SINEWAVE)
                           .connect(P_TRANSFORM, scene.keep(Node(NT_TRANSFORM_3D).set(P_SCALE, Float3{0.2f, 1, 1}))));
        Node displacement(NT_DISPLACEMENT);
        displacement.connect(P_TEXTURE, wave).set(P_AMOUNT, 0.008f).set(P_LEVEL, level).set(P_SUBDIVISION, bump);
        Node material(NT_MAT_DIFFUSE);
        material.connect(P_DISPLACEMENT, scene.keep(displacement)).set(P_DIFFUSE, splat(0.8f));
        MeshData m, lamp;
        m.quad({0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0});
        lamp.quad({9, 0, 2}, {9, 0, 4}, {9, 1, 4}, {9, 1, 2});
        const NodeRecordPtr group = scene.group(
            {scene.keep(m.node({scene.keep(material)})), scene.keep(lamp.node({scene.emitter(splat(99.0f), true)}))});
        return Render().picture(scene.delta(group));
    };
    const auto difference = [](const Image& a, const Image& b) {
        double sum = 0.0, all = 0.0;
        for (unsigned x = 4; x < 44; ++x) {
            const float p = mean(a, x, 8, 1, 32).y, q = mean(b, x, 8, 1, 32).y;
            sum += std::abs(p - q);
            all += q;
        }
        return sum / all;
    };
    const Image fine = picture(8, 0), coarse = picture(1, 0), bumped = picture(1, 1);
    EXPECT_GT(difference(coarse, fine), 0.15);
    EXPECT_LT(difference(bumped, fine), 0.12);
    // On polygons that are fine enough it changes nothing: slopes are not counted twice.
    EXPECT_LT(difference(picture(8, 1), fine), 0.08);
}

}  // namespace
}  // namespace Lumora::engine::test
