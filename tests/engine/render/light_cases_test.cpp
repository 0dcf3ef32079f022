// Lamps and environments that are hard to sample. Whatever is chosen, and however often, the mean has to be that of a
// renderer that finds every lamp by chance.
#include <gtest/gtest.h>

#include <functional>

#include "engine/compile/scene_compiler.h"
#include "engine/render/integrator.h"
#include "engine/render/lights.h"
#include "tests/engine/render/scene_builder.h"
#include "tests/engine/render/statistics.h"

namespace Lumora::engine::test {
namespace {

/// A tube along x, open at its ends.
MeshData tube(float length, float radius, int sides) {
    MeshData m;
    for (int i = 0; i < sides; ++i) {
        const auto at = [&](int k, float x) {
            const float a = 2.0f * kPi * static_cast<float>(k) / static_cast<float>(sides);
            return Float3{x, radius * std::cos(a), radius * std::sin(a)};
        };
        const float half = 0.5f * length;
        m.quad(at(i, -half), at(i + 1, -half), at(i + 1, half), at(i, half));
    }
    return m;
}

/// Lamps over a floor that is seen from close by.
struct Case {
    const char* name;
    /// Adds lamps; `rate` is the sampling rate of their emissions.
    std::function<void(Scene&, std::vector<NodeRecordPtr>&, float rate)> build;
    int samples = 2048;  ///< of each pixel that is left to chance
};

NodeRecordPtr glowing(Scene& scene, float power, float rate, const NodeRecordPtr& opacity = nullptr,
                      bool doubleSided = false, const NodeRecordPtr& distribution = nullptr, int id = 1) {
    Node e(NT_EMIS_TEXTURE);
    e.connect(P_EMIS_TEXTURE, scene.keep(rgb({1, 0.8f, 0.5f}))).set(P_POWER, power).set(P_SAMPLING_RATE, rate);
    e.set(P_DOUBLE_SIDED, doubleSided).set(P_LIGHT_PASS_ID, id);
    if (distribution) e.connect(P_DISTRIBUTION, distribution);
    Node m(NT_MAT_DIFFUSE);
    m.connect(P_DIFFUSE, scene.keep(rgb({}))).connect(P_EMISSION, scene.keep(e));
    if (opacity) m.connect(P_OPACITY, opacity);
    return scene.keep(m);
}

Matrix<float> placed(Float3 scale, Float3 at) {
    Matrix<float> m = scaling(scale);
    m.m[0][3] = at.x;
    m.m[1][3] = at.y;
    m.m[2][3] = at.z;
    return m;
}

/// Mean luminance of a picture of 8 by 8 pixels, and its error, from the spread of pictures of one sample each.
struct Measured {
    double mean = 0.0, error = 0.0;
};

Measured measure(Scene& scene, const std::vector<NodeRecordPtr>& parts, int samples,
                 const NodeRecordPtr& environment = nullptr) {
    SceneDelta delta = scene.delta(scene.group(parts));
    if (environment) {
        delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, environment));
    }
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(delta).scene;
    const CameraRays camera(built->camera, built->film, 1.0f);
    const Integrator integrator(*built);
    double sum = 0.0, squares = 0.0;
    for (int k = 0; k < samples; ++k) {
        double picture = 0.0;
        for (std::uint32_t pixel = 0; pixel < 64; ++pixel) {
            const std::uint32_t x = pixel % 8, y = pixel / 8;
            Sampler sampler(x, y, static_cast<std::uint32_t>(k), 5);
            const Float3 c = integrator.trace(camera.generate(x, y, {}, {}).ray, sampler).color;
            picture += static_cast<double>(luminance(c)) / 64.0;
        }
        sum += picture;
        squares += picture * picture;
    }
    const double mean = sum / samples;
    return {mean, std::sqrt(std::max(squares / samples - mean * mean, 0.0) / samples)};
}

void expectAgreement(const Measured& sampled, const Measured& byChance, const std::string& what) {
    const double error = 4.5 * std::hypot(sampled.error, byChance.error) + 0.002 * byChance.mean;
    EXPECT_GT(byChance.mean, 0.0) << what;
    EXPECT_LT(error, 0.2 * byChance.mean) << what << ": too noisy to tell";
    EXPECT_NEAR(sampled.mean, byChance.mean, error) << what;
}

TEST(LightCases, SamplingAgreesWithChance) {
    const auto sheet = [](Float3 a, Float3 b) {
        return MeshData().quad({a.x, 0, b.z}, {a.x, 0, a.z}, {b.x, 0, a.z}, {b.x, 0, b.z});
    };
    const std::vector<Case> cases = {
        {"a long thin tube",
         [](Scene& s, auto& parts, float rate) {
             parts.push_back(
                 s.scatter(s.keep(tube(6, 0.02f, 24).node({glowing(s, 40, rate)})), {translation({0.3f, 0.6f, 0})}));
         },
         8192},
        {"a stretched and a mirrored ball of very many polygons",
         [](Scene& s, auto& parts, float rate) {
             const NodeRecordPtr ball = s.keep(MeshData::sphere(48, 24).node({glowing(s, 5, rate)}));
             parts.push_back(s.scatter(ball, {placed({0.2f, 0.05f, 0.5f}, {-0.6f, 0.5f, 0}),
                                              placed({-0.3f, 0.2f, 0.1f}, {0.7f, 0.6f, 0.2f})}));
         }},
        {"a sheet that opacity makes a grid, double-sided, over a second floor",
         [&](Scene& s, auto& parts, float rate) {
             const NodeRecordPtr checks = s.keep(image(2, 2,
                                                       std::vector<float>{1, 1, 1, 1, 0, 0, 0, 1,  //
                                                                          0, 0, 0, 1, 1, 1, 1, 1}));
             MeshData grid = sheet({-0.5f, 0, -0.5f}, {0.5f, 0, 0.5f});
             parts.push_back(
                 s.scatter(s.keep(grid.node({glowing(s, 3, rate, checks, true)})), {translation({0, 0.5f, 0})}));
             parts.push_back(s.scatter(s.keep(sheet({-2, 0, -2}, {2, 0, 2}).node({s.diffuse(splat(0.8f))})),
                                       {placed({1, -1, 1}, {0, 1.2f, 0})}));
         }},
        {"beams off the middle of their maps, in the world and in the object",
         [&](Scene& s, auto& parts, float rate) {
             std::vector<float> map(32 * 16 * 4, 0.02f);
             for (int y = 11; y < 15; ++y) {
                 for (int x = 20; x < 24; ++x) {
                     for (int c = 0; c < 3; ++c) map[static_cast<std::size_t>(4 * (y * 32 + x) + c)] = 1.0f;
                 }
             }
             for (const int space : {1, 3}) {  // the world's, the object's
                 Node picture = image(32, 16, map);
                 Node projection(NT_PROJ_SPHERICAL);
                 projection.set(P_COORDINATE_SPACE, space);
                 picture.connect(P_PROJECTION, s.keep(projection));
                 Matrix<float> turned = placed({0, 0, 0}, {space == 1 ? -0.6f : 0.6f, 0.7f, 0});
                 turned.m[0][0] = turned.m[2][1] = 1.0f;
                 turned.m[1][2] = -1.0f;
                 const NodeRecordPtr lamp = glowing(s, 30, rate, nullptr, true, s.keep(picture));
                 parts.push_back(s.scatter(s.keep(sheet({-0.2f, 0, -0.2f}, {0.2f, 0, 0.2f}).node({lamp})), {turned}));
             }
         },
         8192},
        {"a lamp in a bulb of rough glass",
         [](Scene& s, auto& parts, float rate) {
             const NodeRecordPtr ball = s.keep(MeshData::sphere(16, 12).node({glowing(s, 10, rate)}));
             Node glass(NT_MAT_SPECULAR);
             glass.set(P_INDEX, 1.3f).connect(P_ROUGHNESS, s.keep(constant(0.4f)));
             const NodeRecordPtr bulb = s.keep(MeshData::sphere(32, 16).node({s.keep(glass)}));
             parts.push_back(s.scatter(ball, {placed(splat(0.15f), {0, 0.6f, 0})}));
             parts.push_back(s.scatter(bulb, {placed(splat(0.3f), {0, 0.6f, 0})}));
         },
         4096},
        {"two hundred lamps of three ids, one of which the kernel leaves out",
         [&](Scene& s, auto& parts, float rate) {
             Random random;
             s.kernel.connect(P_LIGHT_IDS, s.keep(Node(NT_BIT_MASK).set(A_VALUE, 1 << 3))).set(P_LIGHT_IDS_ACTION, 0);
             for (int id = 1; id <= 3; ++id) {
                 const NodeRecordPtr lamp = s.keep(sheet({-0.05f, 0, -0.05f}, {0.05f, 0, 0.05f})
                                                       .node({glowing(s, 4, rate, nullptr, false, nullptr, id)}));
                 std::vector<Matrix<float>> places;
                 for (int i = 0; i < 67; ++i) {
                     places.push_back(translation({2 * random() - 1, 0.3f + random(), 2 * random() - 1}));
                 }
                 parts.push_back(s.scatter(lamp, places));
             }
         }},
    };
    for (const Case& c : cases) {
        Measured m[2];
        for (const int byChance : {0, 1}) {
            Scene scene(8, 8, 1);
            scene.camera.set(P_POSITION, Float3{0, 0.25f, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
            scene.camera.set(P_FOV, 60.0f);
            std::vector<NodeRecordPtr> parts = {scene.keep(
                MeshData().quad({-3, 0, 3}, {3, 0, 3}, {3, 0, -3}, {-3, 0, -3}).node({scene.diffuse(splat(0.7f))}))};
            c.build(scene, parts, byChance ? 0.0f : 1.0f);
            m[byChance] = measure(scene, parts, byChance ? c.samples : 512);
        }
        expectAgreement(m[0], m[1], c.name);
    }
}

/// Lamps that make no sense light nothing and spoil nothing.
TEST(LightCases, SenselessLampsSpoilNothing) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), huge = std::numeric_limits<float>::infinity();
    for (const bool senseless : {false, true}) {
        Scene scene(8, 8, 256);
        scene.camera.set(P_POSITION, Float3{0, 0.4f, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
        scene.camera.set(P_FOV, 1.0f);
        const MeshData lamp =
            MeshData().quad({-0.05f, 2, 0.05f}, {-0.05f, 2, -0.05f}, {0.05f, 2, -0.05f}, {0.05f, 2, 0.05f});
        std::vector<NodeRecordPtr> parts = {
            scene.keep(MeshData().quad({-9, 0, 9}, {9, 0, 9}, {9, 0, -9}, {-9, 0, -9}).node({scene.diffuse(splat(1))})),
            scene.keep(lamp.node({scene.emitter(splat(50.0f))}))};
        if (senseless) {
            const auto add = [&](const MeshData& m, const NodeRecordPtr& material, const Matrix<float>& place) {
                parts.push_back(scene.scatter(scene.keep(m.node({material})), {place}));
            };
            const NodeRecordPtr good = scene.emitter(splat(50.0f));
            const auto colored = [&](Float3 color, float power, bool brightness) {
                Node e(NT_EMIS_TEXTURE);
                e.connect(P_EMIS_TEXTURE, scene.keep(rgb(color))).set(P_POWER, power);
                e.set(P_SURFACE_BRIGHTNESS, brightness);
                return scene.keep(Node(NT_MAT_DIFFUSE).connect(P_EMISSION, scene.keep(e)));
            };
            add(MeshData().quad({0, 1, 0}, {1, 1, 0}, {1, 1, 0}, {0, 1, 0}), good, {});  // no area
            add(MeshData().triangle({0, 1, 0}, {0, 1, 0}, {0, 1, 0}), colored(splat(1), 100, false), {});
            add(lamp, good, scaling({0, 0, 0}));
            add(MeshData::sphere(32, 16), good, scaling({0, 0, 0}));
            add(MeshData::sphere(32, 16), colored(splat(1), 100, false), scaling({0, 0, 0}));
            add(lamp, colored({nan, 1, 1}, 1, true), translation({5, 0, 0}));
            add(lamp, colored(splat(1), huge, true), translation({5, 0, 1}));
            add(lamp, colored(splat(-3), 10, true), translation({5, 0, 2}));
            add(lamp, good, translation({nan, 0, 0}));
        }
        const Float3 lit = mean(Render().picture(scene.delta(scene.group(parts))), 0, 0, 8, 8);
        const float expected = 50.0f * 0.01f / 4.0f / kPi;
        EXPECT_NEAR(lit.y, expected, 0.03f * expected) << senseless;
    }
}

/// A map of a dim sky with a sun in it: what samples of the map find is what paths find by chance, on mirrors, through
/// glass, and wherever the sun is: in the middle, on the seam, at a pole.
TEST(LightCases, ASunInAMapIsFoundEverywhere) {
    for (const int place : {0, 1, 2}) {
        constexpr int kWidth = 64, kHeight = 32;
        std::vector<float> map(kWidth * kHeight * 4, 0.3f);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 3; ++x) {
                const int px = place == 1 ? (x + kWidth - 1) % kWidth : x + 40, py = place == 2 ? y : y + 6;
                for (int c = 0; c < 3; ++c) map[static_cast<std::size_t>(4 * (py * kWidth + px) + c)] = 100.0f;
            }
        }
        Measured m[2];
        for (const int byChance : {0, 1}) {
            Scene scene(8, 8, 1);
            scene.camera.set(P_POSITION, Float3{0, 1.5f, 2.5f}).set(P_TARGET, Float3{0, 0.2f, 0}).set(P_FOV, 30.0f);
            Node metal(NT_MAT_METALLIC);
            metal.connect(P_SPECULAR, scene.keep(rgb({0.9f, 0.8f, 0.6f})));
            metal.connect(P_ROUGHNESS, scene.keep(constant(0.5f)));
            Node glass(NT_MAT_SPECULAR);
            glass.set(P_INDEX, 1.5f).connect(P_ROUGHNESS, scene.keep(constant(0.2f)));
            const std::vector<NodeRecordPtr> parts = {
                scene.keep(
                    MeshData().quad({-3, 0, 3}, {3, 0, 3}, {3, 0, -3}, {-3, 0, -3}).node({scene.diffuse(splat(0.5f))})),
                scene.scatter(scene.keep(MeshData::sphere(32, 16).node({scene.keep(metal)})),
                              {placed(splat(0.4f), {-0.5f, 0.4f, 0})}),
                scene.scatter(scene.keep(MeshData::sphere(32, 16).node({scene.keep(glass)})),
                              {placed(splat(0.4f), {0.5f, 0.4f, 0})})};
            Node environment(NT_ENV_TEXTURE);
            environment.connect(P_TEXTURE, scene.keep(image(kWidth, kHeight, map)));
            environment.set(P_IMPORTANCE_SAMPLING, !byChance);
            m[byChance] = measure(scene, parts, byChance ? 12000 : 600, scene.keep(environment));
        }
        expectAgreement(m[0], m[1], "sun at place " + std::to_string(place));
    }
}

/// Of a thousand lamps an object is lit by one: each sample finds it.
TEST(LightTree, LampsThatDoNotReachAReceiverCostNoSamples) {
    Random random;
    std::vector<LightBounds> items(1000);
    for (LightBounds& b : items) {
        b.center = {20 * random(), random(), 20 * random()};
        b.power = 1.0f;
        b.mask = 4;
    }
    items[567].mask = 8;
    for (int i = 0; i < 1000; i += 3) {
        if (i != 567) items[static_cast<std::size_t>(i)].mask = 16;
    }
    const LightTree tree(items);
    EXPECT_FLOAT_EQ(tree.probability({{3, -1, 9}, {0, 1, 0}, false, 8}, 567), 1.0f);
    // Of a third of the lamps, all chances are theirs.
    double sum = 0.0;
    for (std::uint32_t i = 0; i < 1000; ++i) {
        const float p = tree.probability({{3, -1, 9}, {0, 1, 0}, false, 16}, i);
        if (items[i].mask != 16) {
            EXPECT_EQ(p, 0.0f);
        }
        sum += static_cast<double>(p);
    }
    EXPECT_NEAR(sum, 1.0, 1e-4);
    EXPECT_EQ(tree.probability({{3, -1, 9}, {0, 1, 0}, false, 32}, 567), 0.0f);
}

/// An edit of a tree touches the paths to what it changes, and what it makes is a tree as good as any.
TEST(LightTree, AnEditCostsItsPaths) {
    Random random;
    std::vector<LightBounds> items(20000);
    for (LightBounds& b : items) {
        b.center = {100 * random(), random(), 100 * random()};
        b.radius = 0.1f;
        b.axis = normalize({random() - 0.5f, -1, random() - 0.5f});
        b.cosine = 0.99f;
        b.power = random();
        b.mask = static_cast<std::uint16_t>(4 << (&b - items.data()) % 2);
    }
    const LightTree before = LightTree(items).scaled(3.0f);
    LightTree::Changes changes;
    for (const std::uint32_t i : {7u, 12345u}) {
        items[i].center = {50, 2, 50};
        items[i].power = 40.0f;
        items[i].mask = 4;
        changes.emplace_back(i, items[i]);
    }
    const LightTree after = before.with(changes);
    EXPECT_LE(after.differences(before), 16u);
    EXPECT_EQ(after.changes(), 2u);
    EXPECT_EQ(after.item(7).center, items[7].center);
    EXPECT_FLOAT_EQ(after.item(7).power, 40.0f);
    EXPECT_FLOAT_EQ(after.item(8).power, 3.0f * items[8].power);
    EXPECT_NE(before.item(7).center, items[7].center);
    const LightReceiver at{{50, 0, 50.5f}, {0, 1, 0}, false, 0xffff};
    double sum = 0.0;
    for (std::uint32_t i = 0; i < items.size(); ++i) sum += static_cast<double>(after.probability(at, i));
    EXPECT_NEAR(sum, 1.0, 1e-3);
    EXPECT_GT(after.probability(at, 7), 0.03f) << "a bright lamp right above";
}

}  // namespace
}  // namespace Lumora::engine::test
