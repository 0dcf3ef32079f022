// Pictures against values known in closed form.
#include <gtest/gtest.h>

#include <numeric>

#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// Irradiance at a point from a polygon of radiance one (Lambert 1760, by the sum over edges).
double polygonIrradiance(Float3 at, Float3 normal, const std::vector<Float3>& corners) {
    double sum = 0.0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Float3 a = normalize(corners[i] - at), b = normalize(corners[(i + 1) % corners.size()] - at);
        const Float3 c = cross(a, b);
        sum += std::acos(std::clamp(dot(a, b), -1.0f, 1.0f)) * dot(normalize(c), normal);
    }
    return std::abs(0.5 * sum);
}

/// A sky that is white above the horizon and black below.
NodeRecordPtr halfWhiteSky(Scene& scene) {
    constexpr int kRows = 512;
    std::vector<float> pixels;
    for (int y = 0; y < kRows; ++y) {
        for (int x = 0; x < 2; ++x) pixels.insert(pixels.end(), 4, y < kRows / 2 ? 1.0f : 0.0f);
    }
    const NodeRecordPtr sky = scene.keep(image(2, kRows, pixels));
    return scene.keep(Node(NT_ENV_TEXTURE).connect(P_TEXTURE, sky).set(P_POWER, 1.0f));
}

TEST(Truth, WhiteFurnaceShowsNothing) {
    for (const float albedo : {1.0f, 0.8f}) {
        Scene scene(64, 64, 64);
        scene.environment(splat(1.0f));
        scene.camera.set(P_FOV, 20.0f);
        const NodeRecordPtr material = scene.diffuse(splat(albedo));
        const NodeRecordPtr sphere = scene.keep(MeshData::sphere(96, 64).node({material}));
        const Image image = Render().picture(scene.delta(sphere));
        const Float3 c = mean(image, 20, 20, 24, 24);
        EXPECT_NEAR(c.x, albedo, 0.005f * albedo);
        EXPECT_NEAR(c.z, albedo, 0.005f * albedo);
        EXPECT_NEAR(mean(image, 0, 0, 4, 4).x, 1.0f, 1e-5f);
    }
}

/// A hollow box of reflectance r that glows with radiance e shows e / (1 - r) at every point.
TEST(Truth, ClosedFurnaceAddsUpAllBounces) {
    Scene scene(16, 16, 256);
    scene.kernel.set(P_MAX_DIFFUSE_DEPTH, 60);
    Node emission(NT_EMIS_TEXTURE);
    emission.connect(P_EMIS_TEXTURE, scene.keep(rgb(splat(1.0f)))).set(P_POWER, 0.5f).set(P_DOUBLE_SIDED, true);
    Node material(NT_MAT_DIFFUSE);
    material.connect(P_DIFFUSE, scene.keep(rgb(splat(0.5f)))).connect(P_EMISSION, scene.keep(emission));
    scene.camera.set(P_POSITION, Float3{0.3f, 0.1f, 0.2f}).set(P_TARGET, Float3{0, 0, -1});
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-1.0f), splat(1.0f)).node({scene.keep(material)}));
    const Image image = Render().picture(scene.delta(box));
    EXPECT_NEAR(mean(image, 0, 0, 16, 16).y, 1.0f, 0.01f);
}

TEST(Truth, IrradianceUnderRectangleMatchesClosedForm) {
    const std::vector<Float3> light = {{-0.5f, 1, -0.3f}, {0.5f, 1, -0.3f}, {0.5f, 1, 0.3f}, {-0.5f, 1, 0.3f}};
    for (const int kernel : {NT_KERNEL_PATH, NT_KERNEL_DIRECT}) {
        for (const Float3 at : {Float3{0, 0, 0}, Float3{1.5f, 0, 0.5f}}) {
            Scene scene(16, 16, 256);
            if (kernel == NT_KERNEL_DIRECT) {
                scene.kernel = Node(NT_KERNEL_DIRECT);
                scene.kernel.set(P_MAX_SAMPLES, 256).set(P_FILTER_SIZE, 1.0f).set(P_GI_MODE, 3);
            }
            scene.camera.set(P_POSITION, at + Float3{0, 0.8f, 3}).set(P_TARGET, at).set(P_FOV, 0.05f);
            MeshData m;
            m.quad({-5, 0, 5}, {5, 0, 5}, {5, 0, -5}, {-5, 0, -5}, 0);
            m.quad(light[0], light[1], light[2], light[3], 1);
            const NodeRecordPtr mesh = scene.keep(m.node({scene.diffuse(splat(1.0f)), scene.emitter(splat(3.0f))}));
            const Image image = Render().picture(scene.delta(mesh));
            const double expected = 3.0 * polygonIrradiance(at, {0, 1, 0}, light) / kPi;
            EXPECT_NEAR(mean(image, 0, 0, 16, 16).x, expected, 0.01 * expected) << kernel << " " << at.x;
        }
    }
}

TEST(Truth, TexturedQuadReproducesItsColours) {
    // Four colours by four; the upper row comes first.
    const std::vector<std::array<unsigned char, 3>> colors = {
        {200, 30, 40}, {20, 180, 60}, {40, 60, 220}, {128, 128, 128}};
    constexpr int kSize = 8;
    std::vector<unsigned char> pixels;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const auto& c = colors[static_cast<std::size_t>((y < kSize / 2 ? 0 : 2) + (x < kSize / 2 ? 0 : 1))];
            pixels.insert(pixels.end(), {c[0], c[1], c[2], 255});
        }
    }
    Scene scene(64, 64, 16);
    scene.environment(splat(1.0f));
    scene.camera.set(P_FOV, 45.0f).set(P_POSITION, Float3{0, 0, 1.0f / std::tan(22.5f * kPi / 180.0f)});
    const NodeRecordPtr texture = scene.keep(image(kSize, kSize, pixels));
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
    const NodeRecordPtr quad =
        scene.keep(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).node({material}));
    const Image image = Render().picture(scene.delta(quad), TONEMAP_LDR);
    ASSERT_TRUE(image.bytes);
    for (unsigned corner = 0; corner < 4; ++corner) {
        const unsigned x = corner & 1 ? 48 : 16, y = corner & 2 ? 48 : 16;
        const unsigned char* p = image.bytes->data() + 4 * (y * 64 + x);
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(p[c], colors[corner][static_cast<std::size_t>(c)], 1) << corner << " " << c;
    }
}

/// An ellipsoid under a half-white sky: a point with normal n sees (1 + n.y) / 2 of it.
TEST(Truth, StretchedAndMirroredInstancesKeepTheirNormals) {
    struct Case {
        const char* name;
        Float3 scale;
    };
    for (const Case& c : {Case{"stretched", {0.9f, 0.4f, 0.7f}}, Case{"mirrored", {-0.9f, 0.4f, 0.7f}},
                          Case{"turned inside out", {-0.9f, -0.4f, -0.7f}}, Case{"flattened", {0.9f, 0.4f, 0.0f}}}) {
        Scene scene(64, 64, 256);
        const NodeRecordPtr sky = halfWhiteSky(scene);
        scene.target.connect(P_ENVIRONMENT, sky);
        scene.camera.set(P_ORTHOGRAPHIC, true)
            .set(P_POSITION, Float3{0, 0, 1})
            .set(P_TARGET, Float3{})
            .set(P_FOV, 90.0f);
        scene.camera.set(P_POSITION, Float3{0, 0, 4}).set(P_FOV, 2.0f * std::atan(0.25f) * 180.0f / kPi);
        const NodeRecordPtr sphere = scene.keep(MeshData::sphere(192, 96).node({scene.diffuse(splat(1.0f))}));
        SceneDelta delta = scene.delta(scene.scatter(sphere, {scaling(c.scale)}));
        // Scene::delta connects its own environment; the sky takes its place.
        delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, sky));
        const Image image = Render().picture(delta);
        for (const auto& [px, py] :
             std::vector<std::pair<unsigned, unsigned>>{{31, 25}, {31, 31}, {20, 28}, {44, 36}, {31, 40}}) {
            const float x = (static_cast<float>(px) + 0.5f) / 32.0f - 1.0f,
                        y = 1.0f - (static_cast<float>(py) + 0.5f) / 32.0f;
            const float ex = x / c.scale.x, ey = y / c.scale.y;
            const float ez = std::sqrt(std::max(0.0f, 1.0f - ex * ex - ey * ey));
            Float3 n{0, 0, 1};
            if (c.scale.z != 0.0f) n = normalize({ex / c.scale.x, ey / c.scale.y, ez / std::abs(c.scale.z)});
            const float expected = 0.5f * (1.0f + n.y);
            EXPECT_NEAR(mean(image, px - 1, py - 1, 3, 3).x, expected, 0.03f) << c.name << " at " << px << " " << py;
        }
    }
}

TEST(Truth, MirroringTurnsTheFrontOfAOneSidedLight) {
    // The quad faces +z; mirrored along z it faces away from the camera.
    for (const float z : {1.0f, -1.0f}) {
        Scene scene(8, 8, 4);
        const NodeRecordPtr quad = scene.keep(
            MeshData().quad({-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}).node({scene.emitter({2, 1, 0.5f})}));
        const Image image = Render().picture(scene.delta(scene.scatter(quad, {scaling({1, 1, z})})));
        EXPECT_NEAR(pixel(image, 4, 4).x, z > 0 ? 2.0f : 0.0f, 1e-5f);
        EXPECT_NEAR(pixel(image, 4, 4).z, z > 0 ? 0.5f : 0.0f, 1e-5f);
    }
}

TEST(Truth, OpacityBlendsWhatIsBehind) {
    Scene scene(16, 16, 1024);
    scene.environment(splat(1.0f));
    const NodeRecordPtr black = scene.keep(
        Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, scene.keep(rgb({}))).connect(P_OPACITY, scene.keep(constant(0.25f))));
    const NodeRecordPtr quad =
        scene.keep(MeshData().quad({-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}).node({black}));
    const Image image = Render().picture(scene.delta(quad));
    EXPECT_NEAR(mean(image, 0, 0, 16, 16).x, 0.75f, 0.01f);
}

/// A floor below a blocker: what the blocker's object layer says of cameras and shadows is what the picture shows.
TEST(Truth, ObjectLayersHideFromCameraAndFromShadowsSeparately) {
    for (const int mode : {0, 1, 2, 3}) {
        const bool camera = mode & 1, shadow = mode & 2;
        Scene scene(8, 8, 256);
        // Straight down on the floor; the light is a small square above, the blocker half-way and black.
        scene.camera.set(P_POSITION, Float3{0, 3, 0})
            .set(P_TARGET, Float3{})
            .set(P_UP, Float3{0, 0, -1})
            .set(P_FOV, 1.0f);
        MeshData m;
        m.quad({-5, 0, 5}, {5, 0, 5}, {5, 0, -5}, {-5, 0, -5}, 0, 0);
        m.quad({-1, 1, 1}, {1, 1, 1}, {1, 1, -1}, {-1, 1, -1}, 1, 1);
        m.quad({-0.1f, 5, -0.1f}, {0.1f, 5, -0.1f}, {0.1f, 5, 0.1f}, {-0.1f, 5, 0.1f}, 2, 0);
        const NodeRecordPtr mesh =
            scene.keep(m.node({scene.diffuse(splat(1.0f)), scene.diffuse({}), scene.emitter(splat(100.0f))}));
        const NodeRecordPtr layer =
            scene.keep(Node(NT_OBJECT_LAYER).set(P_CAMERA_VISIBILITY, camera).set(P_SHADOW_VISIBILITY, shadow));
        Node map(NT_GEO_LAYER_MAP);
        map.connect(P_GEOMETRY, mesh).dynamic(nullptr).dynamic(layer);
        const float seen = mean(Render().picture(scene.delta(scene.keep(map))), 0, 0, 8, 8).x;
        const float lit = static_cast<float>(
            100.0 *
            polygonIrradiance({}, {0, 1, 0}, {{-0.1f, 5, -0.1f}, {0.1f, 5, -0.1f}, {0.1f, 5, 0.1f}, {-0.1f, 5, 0.1f}}) /
            kPi);
        EXPECT_NEAR(seen, camera || shadow ? 0.0f : lit, 0.02f * lit) << mode;
    }
}

/// Far blockers dim the sky in a path-traced picture but not under ambient occlusion of a shorter reach.
TEST(Truth, AmbientOcclusionLooksNoFurtherThanItsDistance) {
    for (const float distance : {0.5f, 5.0f}) {
        Scene scene(16, 16, 64);
        scene.kernel = Node(NT_KERNEL_DIRECT);
        scene.kernel.set(P_MAX_SAMPLES, 64).set(P_FILTER_SIZE, 1.0f).set(P_GI_MODE, 3).set(P_AO_DISTANCE, distance);
        const NodeRecordPtr sky = halfWhiteSky(scene);
        scene.camera.set(P_POSITION, Float3{0, 0.9f, 2}).set(P_TARGET, Float3{}).set(P_FOV, 1.0f);
        MeshData m;
        m.quad({-5, 0, 5}, {5, 0, 5}, {5, 0, -5}, {-5, 0, -5})
            .quad({-50, 1, -50}, {50, 1, -50}, {50, 1, 50}, {-50, 1, 50});
        const NodeRecordPtr mesh = scene.keep(m.node({scene.diffuse(splat(0.6f))}));
        SceneDelta delta = scene.delta(mesh);
        delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, sky));
        const float seen = mean(Render().picture(delta), 0, 0, 16, 16).x;
        // The blocker hides the sky up to the angle at which it is `distance` away: all but (1 / 5)^2 of the cosine.
        EXPECT_NEAR(seen, distance < 1 ? 0.6f : 0.6f * 0.04f, 0.006f) << distance;
    }
}

TEST(Truth, SamplesGoOnWithoutRestartWhenMoreAreAsked) {
    Scene scene(32, 32, 8);
    scene.environment(splat(1.0f));
    const NodeRecordPtr quad = scene.keep(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).node());
    Render render;
    render.picture(scene.delta(quad, 1));
    SceneDelta more;
    more.changeLevel = 2;
    more.renderTarget = NodeRecordPtr(scene.target)->uid;
    more.changed = {Node(NodeRecordPtr(scene.kernel)).set(P_MAX_SAMPLES, 21)};
    render.renderer().submit(more);
    render.wait(2);
    const Statistics s = render.renderer().statistics(RP_BEAUTY);
    EXPECT_EQ(s.samplesPerPixel, 21.0f);
    EXPECT_TRUE(s.finished);
}

TEST(Truth, SameSeedSamePictureOnAnyNumberOfThreads) {
    std::vector<std::vector<float>> pictures;
    for (const unsigned threads : {1u, 2u, 5u}) {
        Scene scene(100, 70, 21);
        scene.environment({0.3f, 0.4f, 0.5f});
        MeshData m;
        m.quad({-5, -1, 5}, {5, -1, 5}, {5, -1, -5}, {-5, -1, -5}, 0).box({-0.5f, -1, -0.5f}, {0.5f, 0, 0.5f}, 1);
        m.quad({-1, 2, -1}, {1, 2, -1}, {1, 2, 1}, {-1, 2, 1}, 2);
        const NodeRecordPtr mesh = scene.keep(
            m.node({scene.diffuse({0.8f, 0.7f, 0.6f}), scene.diffuse({0.2f, 0.5f, 0.9f}), scene.emitter(splat(5.0f))}));
        scene.camera.set(P_APERTURE, 3.0f);
        const Image image = Render(threads).picture(scene.delta(mesh));
        ASSERT_TRUE(image.floats);
        pictures.push_back(*image.floats);
    }
    EXPECT_EQ(pictures[0], pictures[1]);
    EXPECT_EQ(pictures[0], pictures[2]);
    EXPECT_GT(std::accumulate(pictures[0].begin(), pictures[0].end(), 0.0f), 100.0f);
}

}  // namespace
}  // namespace Lumora::engine::test
