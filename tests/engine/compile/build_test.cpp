// What is built, what is refused, and what an edit leaves alone.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "engine/compile/scene_compiler.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

MeshData goodMesh() {
    MeshData m;
    m.quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).triangle({0, 0, 1}, {1, 0, 1}, {0, 1, 1});
    m.normals = {{0, 0, 1}};
    m.normalIndices.assign(7, 0);
    return m;
}

TEST(Build, BrokenMeshesAreRefusedAndTheRestIsShown) {
    struct Case {
        const char* reason;
        std::function<void(MeshData&)> breakIt;
    };
    const float nan = std::nanf("");
    const std::vector<Case> cases = {
        {"vertex index", [](MeshData& m) { m.indices[2] = 7; }},
        {"vertex index", [](MeshData& m) { m.indices[2] = -1; }},
        {"finite", [nan](MeshData& m) { m.vertices[3].y = nan; }},
        {"finite", [](MeshData& m) { m.vertices[3].y = INFINITY; }},
        {"too far", [](MeshData& m) { m.vertices[3].y = 1e30f; }},
        {"three or four",
         [](MeshData& m) {
             m.perPolygon = {5, 2};
         }},
        {"three or four",
         [](MeshData& m) {
             m.perPolygon = {-4, 11};
         }},
        {"add up", [](MeshData& m) { m.perPolygon.push_back(3); }},
        {"add up", [](MeshData& m) { m.indices.pop_back(); }},
        {"normal index", [](MeshData& m) { m.normalIndices[6] = 1; }},
        {"normal indices", [](MeshData& m) { m.normalIndices.pop_back(); }},
        {"texture coordinate index", [](MeshData& m) { m.uvIndices[0] = 1000000; }},
        {"material index", [](MeshData& m) { m.materials[1] = -3; }},
        {"material indices", [](MeshData& m) { m.materials.pop_back(); }},
        {"object index", [](MeshData& m) { m.objects[0] = -1; }},
        {"needed together", [](MeshData& m) { m.vertices.clear(); }},
        {"needed together", [](MeshData& m) { m.perPolygon.clear(); }},
    };
    for (const Case& c : cases) {
        Scene scene(8, 8, 1);
        MeshData m = goodMesh();
        c.breakIt(m);
        const NodeRecordPtr bad = scene.keep(m.node().name("broken"));
        const NodeRecordPtr good = scene.keep(goodMesh().node());
        std::string log;
        SceneCompiler compiler([&](const std::string& line) { log += line; });
        const RenderScenePtr built = compiler.apply(scene.delta(scene.group({bad, good}))).scene;
        EXPECT_EQ(built->geometry->meshes.size(), 1u) << c.reason;
        EXPECT_NE(log.find("broken"), std::string::npos) << log;
        EXPECT_NE(log.find(c.reason), std::string::npos) << log;
    }
}

TEST(Build, OddButLegalMeshesAreBuilt) {
    const auto build = [](const MeshData& m, const NodeRecordPtr& given = nullptr) {
        Scene scene(8, 8, 1);
        const NodeRecordPtr node = scene.keep(given ? given : NodeRecordPtr(m.node()));
        std::string log;
        SceneCompiler compiler([&](const std::string& line) { log += line; });
        const RenderScenePtr built = compiler.apply(scene.delta(node)).scene;
        EXPECT_EQ(log, "");
        return built;
    };
    EXPECT_EQ(build({})->geometry->meshes.size(), 0u) << "an empty mesh is no fault";
    MeshData flat;
    flat.quad({}, {}, {}, {}).triangle({1, 1, 1}, {1, 1, 1}, {1, 1, 1});
    EXPECT_EQ(build(flat)->geometry->meshes.size(), 1u) << "polygons without area";
    MeshData far = goodMesh();
    far.materials = {3, 9};  // more than there are material pins
    EXPECT_EQ(build(far)->shading->slotMaterials.size(), 10u);
    // Without the room behind the last vertex that Embree reads.
    auto tight = std::make_shared<std::vector<Float3>>(goodMesh().vertices);
    tight->shrink_to_fit();
    Node node = goodMesh().node();
    node.set(A_VERTICES, SharedArray<Float3>(tight));
    EXPECT_EQ(build({}, node)->geometry->meshes.size(), 1u);
}

TEST(Build, MeshesShareTheGraphsArrays) {
    Scene scene(8, 8, 1);
    MeshData quads;
    quads.quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0});
    const NodeRecordPtr mesh = scene.keep(quads.node());
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(scene.delta(mesh)).scene;
    const CompiledMesh& compiled = *built->geometry->meshes[0];
    EXPECT_EQ(compiled.vertices, mesh->attributeValue<SharedArray<Float3>>(A_VERTICES, nullptr));
    EXPECT_EQ(compiled.extraBytes(), 0u);
}

TEST(Build, MovingOneInstanceBuildsOneInstanceAndNoMesh) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-0.4f), splat(0.4f)).node({scene.emitter(splat(1.0f))}));
    std::vector<Matrix<float>> matrices;
    for (int i = 0; i < 100; ++i) matrices.push_back(translation({static_cast<float>(i), 0, 0}));
    const NodeRecordPtr scatter = scene.scatter(box, matrices);
    SceneCompiler compiler(nullptr);
    const RenderScenePtr first = compiler.apply(scene.delta(scatter)).scene;
    EXPECT_EQ(compiler.counters().meshesBuilt, 1u);
    EXPECT_EQ(compiler.counters().instancesBuilt, 100u);

    SceneDelta move = scene.delta(scatter, 2);
    matrices[42] = translation({0, 5, 0});
    move.changed = {Node(scatter).set(A_TRANSFORM, shared(matrices))};
    const BuildResult second = compiler.apply(move);
    EXPECT_TRUE(second.restart);
    EXPECT_EQ(compiler.counters().meshesBuilt, 1u);
    EXPECT_EQ(compiler.counters().instancesBuilt, 101u);
    EXPECT_EQ(second.scene->shading, first->shading);
    EXPECT_EQ(second.scene->lights->sets[0], first->lights->sets[0]);

    // The first scene still stands as it was.
    EXPECT_NE(first->geometry->top, second.scene->geometry->top);
    EXPECT_EQ(first->geometry->instances[42].toWorld, translation({42, 0, 0}));
}

/// What each kind of edit may make new.
TEST(Build, EditsRebuildOnlyTheirPart) {
    Scene scene(8, 8, 1);
    scene.environment(splat(1.0f));
    const NodeRecordPtr color = scene.keep(rgb({1, 0, 0}));
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, color));
    const NodeRecordPtr mesh = scene.keep(goodMesh().node({material}));
    SceneCompiler compiler(nullptr);
    RenderScenePtr last = compiler.apply(scene.delta(mesh)).scene;
    const SceneDelta base = scene.delta(mesh);

    struct Case {
        const char* name;
        NodeRecordPtr changed;
        bool geometry, shading, restart;
    };
    const std::vector<Case> cases = {
        {"camera", Node(NodeRecordPtr(scene.camera)).set(P_FOV, 33.0f), false, false, true},
        {"exposure", Node(NodeRecordPtr(scene.imager)).set(P_EXPOSURE, 2.0f), false, false, false},
        {"more samples", Node(NodeRecordPtr(scene.kernel)).set(P_MAX_SAMPLES, 77), false, false, false},
        {"depth", Node(NodeRecordPtr(scene.kernel)).set(P_MAX_DIFFUSE_DEPTH, 3), false, false, true},
        {"resolution", Node(NodeRecordPtr(scene.film)).set(P_RESOLUTION, Vec2<int>{16, 8}), false, false, true},
        {"colour", Node(color).set(A_VALUE, Float3{0, 1, 0}), false, true, true},
        {"mesh's vertices", Node(mesh).set(A_VERTICES, shared(goodMesh().vertices)), true, false, true},
        {"a node that nothing uses", Node(NT_TEX_RGB).set(A_VALUE, Float3{}), false, false, false},
    };
    for (const Case& c : cases) {
        SceneDelta d = base;
        d.changed = {c.changed};
        const BuildResult r = compiler.apply(d);
        EXPECT_EQ(r.scene->geometry != last->geometry, c.geometry) << c.name;
        EXPECT_EQ(r.scene->shading != last->shading, c.shading) << c.name;
        EXPECT_EQ(r.restart, c.restart) << c.name;
        EXPECT_EQ(r.scene->environment, last->environment) << c.name;
        last = r.scene;
    }
    EXPECT_EQ(compiler.counters().meshesBuilt, 2u);
}

TEST(Build, CirclesAndDepthsEnd) {
    Scene scene(8, 8, 1);
    scene.environment(splat(1.0f));
    std::string log;
    SceneCompiler compiler([&](const std::string& line) { log += line + "\n"; });
    // A group inside itself, a texture among its inputs, a mix of itself.
    Node group(NT_GEO_GROUP), multiply(NT_TEX_MULTIPLY), mix(NT_MAT_MIX);
    multiply.connect(P_TEXTURE1, multiply).connect(P_TEXTURE2, scene.keep(rgb(splat(1.0f))));
    mix.connect(P_MATERIAL1, mix).connect(P_MATERIAL2, scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, multiply)));
    scene.keep(multiply);
    scene.keep(mix);
    group.dynamic(scene.keep(goodMesh().node({mix}))).dynamic(group);
    const RenderScenePtr built = compiler.apply(scene.delta(group)).scene;
    EXPECT_GE(built->geometry->instances.size(), 1u);
    EXPECT_NE(log.find("nested"), std::string::npos) << log;
    EXPECT_NE(log.find("own inputs"), std::string::npos) << log;
    EXPECT_NE(log.find("own parts"), std::string::npos) << log;
}

TEST(Build, UnusableTransformsAreLeftOut) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr mesh = scene.keep(goodMesh().node());
    Matrix<float> broken;
    broken.m[1][1] = std::nanf("");
    std::string log;
    SceneCompiler compiler([&](const std::string& line) { log += line; });
    const RenderScenePtr built =
        compiler
            .apply(scene.delta(scene.scatter(mesh, {Matrix<float>{}, broken, scaling({0, 0, 0}), scaling({1, 0, 0}),
                                                    scaling({1, 1, 0}), scaling({1e-3f, 1e-3f, 1e-3f})})))
            .scene;
    EXPECT_EQ(built->geometry->instances.size(), 3u) << "flat ones stay, lines, points and nonsense go";
    EXPECT_NE(log.find("3 instances"), std::string::npos) << log;
}

TEST(Build, ImagesThatCannotBeReadAreNamedAndStoodInFor) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "lumora_images";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "broken.png") << "\x89PNG\r\n\x1a\n and then nothing of use";
    std::ofstream(folder / "text.jpg") << "no picture";
    std::ofstream(folder / "empty.exr");
    for (const char* name : {"missing.png", "broken.png", "text.jpg", "empty.exr", "."}) {
        Scene scene(8, 8, 1);
        const NodeRecordPtr texture =
            scene.keep(Node(NT_TEX_IMAGE).set(A_FILENAME, (folder / name).string()).set(P_POWER, 1.0f));
        const NodeRecordPtr mesh =
            scene.keep(goodMesh().node({scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture))}));
        std::string log;
        SceneCompiler compiler([&](const std::string& line) { log += line + "\n"; });
        const RenderScenePtr built = compiler.apply(scene.delta(mesh)).scene;
        EXPECT_NE(log.find(name), std::string::npos) << name << ": " << log;
        // The same again says nothing more.
        log.clear();
        SceneDelta again = scene.delta(mesh);
        again.changed = {Node(texture).set(P_GAMMA, 1.0f)};
        compiler.apply(again);
        EXPECT_EQ(log, "") << name;
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace Lumora::engine::test
