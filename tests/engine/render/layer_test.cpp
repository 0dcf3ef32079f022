// What object layers do to the picture, on meshes, instances and infinite planes.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/surface.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

NodeRecordPtr mapped(Scene& scene, const NodeRecordPtr& geometry, const NodeRecordPtr& layer) {
    Node map(NT_GEO_LAYER_MAP);
    return scene.keep(map.connect(P_GEOMETRY, geometry).dynamic(layer));
}

NodeRecordPtr plane(Scene& scene, Float3 at, const NodeRecordPtr& material, const NodeRecordPtr& layer = nullptr) {
    const NodeRecordPtr transform = scene.keep(Node(NT_TRANSFORM_3D).set(P_TRANSLATION, at));
    return scene.keep(Node(NT_GEO_PLANE)
                          .connect(P_TRANSFORM, transform)
                          .connect(P_MATERIAL1, material)
                          .connect(P_OBJECT_LAYER, layer));
}

float seen(Scene& scene, const NodeRecordPtr& geometry) {
    return mean(Render().picture(scene.delta(geometry)), 0, 0, 8, 8).x;
}

/// A black sheet before a white sky, as a mesh, an instance and a plane: the camera sees the sky through it.
TEST(Layers, OpacityLetsThrough) {
    for (const int kind : {0, 1, 2}) {
        for (const float opacity : {0.0f, 0.25f, 1.0f}) {
            Scene scene(8, 8, 256);
            scene.environment(splat(1.0f));
            scene.camera.set(P_POSITION, Float3{0, 3, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
            const NodeRecordPtr black = scene.diffuse({});
            const NodeRecordPtr layer = scene.keep(Node(NT_OBJECT_LAYER).set(P_LAYER_OPACITY, opacity));
            NodeRecordPtr sheet;
            if (kind == 2) {
                sheet = plane(scene, {}, black, layer);
            } else {
                MeshData m;
                m.quad({-5, 0, 5}, {5, 0, 5}, {5, 0, -5}, {-5, 0, -5});
                sheet = mapped(scene, scene.keep(m.node({black})), layer);
                if (kind == 1) sheet = scene.scatter(sheet, {translation({0, 0.5f, 0})});
            }
            EXPECT_NEAR(seen(scene, sheet), 1.0f - opacity, 0.01f) << kind << ", " << opacity;
        }
    }
}

/// A floor under a small light with a black plane between them that the camera does not see. The kernel's switch for
/// alpha shadows is about materials: what a layer makes faint casts a faint shadow either way.
TEST(Layers, APlaneShadowsAsItsLayerSays) {
    float lit = 0.0f;
    struct Case {
        float opacity;
        bool shadow, alphaShadows;
        float share;
    };
    for (const Case& c : {Case{1, false, true, 1.0f}, Case{1, true, true, 0.0f}, Case{0.25f, true, true, 0.75f},
                          Case{0.25f, true, false, 0.75f}, Case{0.25f, false, false, 1.0f}}) {
        Scene scene(8, 8, 1024);
        scene.kernel.set(P_ALPHA_SHADOWS, c.alphaShadows).set(P_MAX_DIFFUSE_DEPTH, 1);
        scene.camera.set(P_POSITION, Float3{0, 3, 0})
            .set(P_TARGET, Float3{})
            .set(P_UP, Float3{0, 0, -1})
            .set(P_FOV, 1.0f);
        MeshData m;
        m.quad({-0.1f, 5, -0.1f}, {0.1f, 5, -0.1f}, {0.1f, 5, 0.1f}, {-0.1f, 5, 0.1f});
        const NodeRecordPtr light = scene.keep(m.node({scene.emitter(splat(1000.0f))}));
        const NodeRecordPtr layer = scene.keep(Node(NT_OBJECT_LAYER)
                                                   .set(P_CAMERA_VISIBILITY, false)
                                                   .set(P_SHADOW_VISIBILITY, c.shadow)
                                                   .set(P_LAYER_OPACITY, c.opacity));
        const float now = seen(scene, scene.group({plane(scene, {}, scene.diffuse(splat(0.8f))), light,
                                                   plane(scene, {0, 1, 0}, scene.diffuse({}), layer)}));
        if (lit == 0.0f) lit = now;
        EXPECT_GT(lit, 0.1f);
        EXPECT_NEAR(now, c.share * lit, 0.01f * lit) << c.opacity << c.shadow << c.alphaShadows;
    }
}

/// Each object of a mesh takes the layer on its own pin; the map nearest to the mesh speaks.
TEST(Layers, ObjectsFindTheirPins) {
    Scene scene(8, 8, 1);
    scene.environment(splat(1.0f));
    MeshData m;
    m.quad({-1, -1, 0}, {0, -1, 0}, {0, 1, 0}, {-1, 1, 0}, 0, 0)
        .quad({0, -1, 0}, {1, -1, 0}, {1, 1, 0}, {0, 1, 0}, 0, 1);
    const NodeRecordPtr mesh = scene.keep(m.node({scene.diffuse({})}));
    const auto hidden = [&] { return scene.keep(Node(NT_OBJECT_LAYER).set(P_CAMERA_VISIBILITY, false)); };
    Node inner(NT_GEO_LAYER_MAP);
    inner.connect(P_GEOMETRY, mesh).dynamic(nullptr).dynamic(hidden());
    const NodeRecordPtr outer = mapped(scene, scene.scatter(scene.keep(inner), {Matrix<float>{}}), hidden());
    scene.camera.set(P_FOV, 10.0f);
    const Image image = Render().picture(scene.delta(outer));
    EXPECT_EQ(pixel(image, 1, 4).x, 0.0f);
    EXPECT_EQ(pixel(image, 6, 4).x, 1.0f);
}

/// What passes and textures ask of a surface: ids, colours and masks of its layer, the numbers of mesh and instance.
TEST(Layers, NumbersReachTheSurfaceAndCostRaysNothing) {
    Scene scene(8, 8, 1);
    MeshData m;
    m.quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0});
    const NodeRecordPtr mesh = scene.keep(m.node().set(A_MESH_OBJECT_ID, 41));
    const NodeRecordPtr layer = scene.keep(Node(NT_OBJECT_LAYER)
                                               .set(P_LAYER_ID, 7)
                                               .set(P_BAKING_GROUP_ID, 300)
                                               .set(P_LIGHT_PASS_MASK, 5)
                                               .set(P_OBJECT_COLOR, Float3{255, 51, 0}));
    Node outer(NT_GEO_SCATTER);
    outer.connect(P_GEOMETRY, scene.scatter(mapped(scene, mesh, layer), {translation({0, 0, -1})}))
        .set(A_TRANSFORM, shared<Matrix<float>>({translation({0, 0, 0}), translation({10, 0, 0})}))
        .set(A_INSTANCE_IDS, shared<int>({3, 9}));
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(scene.delta(scene.keep(outer))).scene;
    EXPECT_FALSE(built->geometry->restricted);
    for (const float x : {0.0f, 10.0f}) {
        const Ray ray{{x, 0, 5}, {0, 0, -1}, 0.0f, kInfinity};
        const Hit hit = intersect(*built->geometry, ray);
        ASSERT_TRUE(hit.valid());
        const Surface s = surfaceAt(*built, hit, ray);
        EXPECT_EQ(s.layer.layerId, 7);
        EXPECT_EQ(s.layer.bakingGroup, 300);
        EXPECT_EQ(s.layer.lightPassMask, 5);
        EXPECT_NEAR(s.layer.color.y, 0.2f, 1e-6f);
        EXPECT_EQ(s.objectId, 41);
        EXPECT_EQ(s.instanceId, x == 0.0f ? 3 : 9);
    }
}

TEST(Layers, AnEditBuildsNoGeometry) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr mesh = scene.keep(MeshData().box(splat(-1.0f), splat(1.0f)).node());
    const NodeRecordPtr layer = scene.keep(Node(NT_OBJECT_LAYER));
    const NodeRecordPtr map = mapped(scene, mesh, layer);
    SceneCompiler compiler(nullptr);
    const RenderScenePtr first = compiler.apply(scene.delta(map)).scene;
    SceneDelta edit = scene.delta(map);
    edit.changed = {Node(layer).set(P_LAYER_OPACITY, 0.5f)};
    const BuildResult second = compiler.apply(edit);
    EXPECT_TRUE(second.restart);
    EXPECT_EQ(second.scene->geometry->top, first->geometry->top);
    EXPECT_EQ(second.scene->lights, first->lights);
    EXPECT_EQ(compiler.counters().meshesBuilt + compiler.counters().instancesBuilt, 2u);
    EXPECT_TRUE(second.scene->geometry->restricted);
}

}  // namespace
}  // namespace Lumora::engine::test
