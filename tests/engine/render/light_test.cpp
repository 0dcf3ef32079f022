// Choosing among many lights: densities against counts, solid angles and each other.
#include "engine/render/lights.h"

#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "tests/engine/render/scene_builder.h"
#include "tests/engine/render/statistics.h"

namespace Lumora::engine::test {
namespace {

Float3 randomDirection(Random& random) {
    const float z = 2.0f * random() - 1.0f, phi = 2.0f * kPi * random(), r = std::sqrt(1.0f - z * z);
    return {r * std::cos(phi), r * std::sin(phi), z};
}

std::vector<LightBounds> randomLights(Random& random, int count) {
    std::vector<LightBounds> items;
    for (int i = 0; i < count; ++i) {
        LightBounds b;
        b.center = {4 * random(), 4 * random(), 4 * random()};
        b.radius = 0.1f * random();
        b.power = i % 11 == 5 ? 0.0f : 0.01f + random();
        b.mask = static_cast<std::uint16_t>(1 << (i % 3));
        if (i % 4 != 0) {
            b.axis = randomDirection(random);
            b.cosine = i % 4 == 1 ? 1.0f : random();
            b.bothSides = i % 8 == 2;
        }
        items.push_back(b);
    }
    items[7] = items[8];  // two in one place
    return items;
}

TEST(LightTree, PicksItemsWithTheProbabilityThatItTells) {
    Random random;
    const std::vector<LightBounds> items = randomLights(random, 60);
    const LightTree tree(items);
    const std::vector<LightReceiver> receivers = {{{2, 2, 2}, {}, false, 7},
                                                  {{-9, 0, 1}, {1, 0, 0}, false, 7},
                                                  {{2, -3, 2}, {0, 0.6f, 0.8f}, false, 7},
                                                  {{2, 1, 2}, {0, -0.6f, 0.8f}, true, 7},
                                                  {items[3].center, {0, 1, 0}, false, 7},
                                                  {{9, 9, 9}, {}, false, 2}};
    for (std::size_t r = 0; r < receivers.size(); ++r) {
        constexpr int kCount = 100000;
        std::vector<double> counts(items.size()), expected(items.size());
        int missed = 0;
        double rest = 0.0;
        for (int i = 0; i < kCount; ++i) {
            float probability = 0.0f;
            double u = static_cast<double>(random()) + static_cast<double>(random()) * 0x1p-24;
            u = std::min(u, 0.999999999);
            const std::uint32_t item = tree.sample(receivers[r], u, probability);
            if (!(probability > 0.0f)) {
                ++missed;
                continue;
            }
            rest += u;
            ++counts[item];
            ASSERT_FLOAT_EQ(probability, tree.probability(receivers[r], item));
            EXPECT_GT(items[item].power, 0.0f);
        }
        EXPECT_NEAR(rest / (kCount - missed), 0.5, 0.005) << "the remainder is uniform again";
        double sum = 0.0;
        for (std::uint32_t i = 0; i < items.size(); ++i) {
            expected[i] = kCount * static_cast<double>(tree.probability(receivers[r], i));
            sum += expected[i];
        }
        // Where all below a node turns out dark the walk ends with nothing; that is all that may lack.
        EXPECT_NEAR(sum / kCount, 1.0 - static_cast<double>(missed) / kCount, 0.005) << r;
        expectDistributed(counts, expected, "light tree");
    }
}

/// A small flat light that reaches a point must never have a chance of zero.
TEST(LightTree, OverlooksNothingThatShines) {
    Random random;
    std::vector<LightBounds> items;
    for (int i = 0; i < 400; ++i) {
        LightBounds b;
        b.center = {4 * random(), 4 * random(), 4 * random()};
        b.power = 1.0f;
        b.axis = randomDirection(random);
        b.cosine = 1.0f - 1e-5f;
        b.bothSides = i % 5 == 0;
        items.push_back(b);
    }
    const LightTree tree(items);
    for (int k = 0; k < 300; ++k) {
        const LightReceiver at{
            {8 * random() - 2, 8 * random() - 2, 8 * random() - 2}, randomDirection(random), k % 3 == 0, 0xffff};
        for (std::uint32_t i = 0; i < items.size(); ++i) {
            const Float3 d = normalize(items[i].center - at.point);
            const float leaves = -dot(items[i].axis, d), arrives = dot(at.normal, d);
            const bool lit = (leaves > 1e-3f || (items[i].bothSides && leaves < -1e-3f)) &&
                             (arrives > 1e-3f || (at.bothSides && arrives < -1e-3f));
            if (lit) {
                ASSERT_GT(tree.probability(at, i), 0.0f) << k << " " << i;
            }
        }
    }
}

struct Built {
    SceneCompiler compiler{nullptr};
    RenderScenePtr scene;
    explicit Built(const SceneDelta& delta) : scene(compiler.apply(delta).scene) {}
};

/// Solid angle of a rectangle with half edges a and b, seen from its middle at distance d.
double rectangleAngle(double a, double b, double d) {
    return 4.0 * std::asin(a * b / std::sqrt((a * a + d * d) * (b * b + d * d)));
}

/// The mean of 1 / pdf over points chosen on emitters is the solid angle that they fill.
void measureSolidAngles(const RenderScene& scene, const LightQuery& query, double upward, double downward) {
    const LightChoice choice(scene);
    Random random;
    constexpr int kCount = 200000;
    double up = 0.0, down = 0.0;
    for (int i = 0; i < kCount; ++i) {
        const float u[4] = {random(), random(), random(), random()};
        const LightSample s = sampleLight(scene, choice, query, u);
        if (!(s.pdf > 0.0f)) continue;
        (s.direction.y > 0 ? up : down) += 1.0 / s.pdf;
        if (i % 50 != 0) continue;
        // A ray that happens upon the same point must report the same density.
        const Ray ray{query.position, s.direction, 0.0f, kInfinity};
        const Hit hit = intersect(*scene.geometry, ray);
        ASSERT_TRUE(hit.valid());
        EXPECT_NEAR(hit.t, s.distance, 1e-4f * s.distance);
        EXPECT_NEAR(emitterPdf(scene, choice, query, hit, surfaceAt(scene, hit, ray)), s.pdf, 0.01f * s.pdf);
    }
    EXPECT_NEAR(up / kCount, upward, 0.012);
    EXPECT_NEAR(down / kCount, downward, 0.012);
}

/// A unit square at height one, split into a rectangle, a crooked quad and triangles, with two materials.
MeshData splitSquare() {
    MeshData m;
    m.quad({-0.5f, 1, -0.5f}, {-0.1f, 1, -0.5f}, {-0.1f, 1, 0.5f}, {-0.5f, 1, 0.5f}, 0);
    m.quad({-0.1f, 1, -0.5f}, {0.3f, 1, -0.5f}, {0.1f, 1, 0.5f}, {-0.1f, 1, 0.5f}, 1);
    m.triangle({0.3f, 1, -0.5f}, {0.5f, 1, -0.5f}, {0.5f, 1, 0.5f}, 1);
    m.triangle({0.3f, 1, -0.5f}, {0.5f, 1, 0.5f}, {0.1f, 1, 0.5f}, 0);
    return m;
}

TEST(Lights, DensityMeasuresSolidAngle) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr mesh =
        scene.keep(splitSquare().node({scene.emitter(splat(1.0f), true), scene.emitter(splat(7.0f), true)}));
    // The square, and a stretched and mirrored one far below that fills a solid angle of its own.
    Matrix<float> below = scaling({-3, 1, 2});
    below.m[1][3] = -4;
    const Built built(scene.delta(scene.scatter(mesh, {Matrix<float>{}, below})));
    const double up = rectangleAngle(0.5, 0.5, 1.0), down = rectangleAngle(1.5, 1.0, 3.0);
    measureSolidAngles(*built.scene, {{}, {}}, up, down);
    measureSolidAngles(*built.scene, {{}, {0, 1, 0}}, up, 0.0);
    measureSolidAngles(*built.scene, {{}, {0, 1, 0}, true}, up, down);
    measureSolidAngles(*built.scene, {{}, {0, -1, 0}}, 0.0, down);
}

/// A large rectangle close by, where the choice is by solid angle and not by area.
TEST(Lights, NearRectanglesAreChosenByTheirSolidAngle) {
    for (const Float3 at : {Float3{0, 0.7f, 0}, Float3{0.6f, 0.5f, 0.9f}, Float3{-0.99f, 0.9f, 0.2f}}) {
        Scene scene(8, 8, 1);
        const NodeRecordPtr mesh = scene.keep(MeshData()
                                                  .quad({-1, 1, 1.5f}, {-1, 1, -1.5f}, {1, 1, -1.5f}, {1, 1, 1.5f})
                                                  .node({scene.emitter(splat(1.0f))}));
        const Built built(scene.delta(mesh));
        const double h = 1.0 - static_cast<double>(at.y);
        // The rectangle in four, each with a corner above the point.
        const auto corner = [&](double a, double b) {
            return std::atan(a * b / (h * std::sqrt(a * a + b * b + h * h)));
        };
        const double x0 = 1.0 - static_cast<double>(at.x), x1 = 1.0 + static_cast<double>(at.x);
        const double z0 = 1.5 - static_cast<double>(at.z), z1 = 1.5 + static_cast<double>(at.z);
        const double angle = corner(x0, z0) + corner(x0, z1) + corner(x1, z0) + corner(x1, z1);
        measureSolidAngles(*built.scene, {at, {0, 1, 0}}, angle, 0.0);
        // All samples have the same density, and the light's directions have the right mean.
        const LightChoice choice(*built.scene);
        const float u[4] = {0.3f, 0.1f, 0.7f, 0.4f};
        EXPECT_NEAR(1.0 / sampleLight(*built.scene, choice, {at, {0, 1, 0}}, u).pdf, angle, 1e-3 * angle);
        double irradiance = 0.0, wanted = 0.0;
        constexpr int kEdge = 200;
        for (int i = 0; i < kEdge * kEdge; ++i) {
            const Float2 v = {(static_cast<float>(i % kEdge) + 0.5f) / kEdge,
                              (static_cast<float>(i / kEdge) + 0.5f) / kEdge};
            const float w[4] = {0.5f, 0.5f, v.x, v.y};
            irradiance +=
                static_cast<double>(sampleLight(*built.scene, choice, {at, {0, 1, 0}}, w).direction.y) * angle;
            const Float3 d = Float3{2 * v.x - 1, 1, 3 * v.y - 1.5f} - at;
            wanted += h * h / std::pow(static_cast<double>(dot(d, d)), 2.0) * 6.0;
        }
        EXPECT_NEAR(irradiance, wanted, 0.01 * wanted);
    }
}

/// A large triangle close by: all of its samples have the same density, and they lie evenly in the solid angle.
TEST(Lights, NearTrianglesAreChosenByTheirSolidAngle) {
    const Float3 a{-1, 1, 1}, b{0.2f, 1, -1.5f}, c{1.5f, 1, 0.8f};
    for (const Float3 at : {Float3{0, 0.4f, 0}, Float3{0.8f, 0.7f, 0.5f}, Float3{-0.9f, 0.8f, 1.2f}}) {
        Scene scene(8, 8, 1);
        const Built built(scene.delta(scene.keep(MeshData().triangle(a, b, c).node({scene.emitter(splat(1), true)}))));
        // Solid angle and irradiance by very many points.
        double angle = 0.0, wanted = 0.0;
        constexpr int kEdge = 600;
        const double area = 0.5 * static_cast<double>(length(cross(b - a, c - a)));
        for (int i = 0; i < kEdge * kEdge; ++i) {
            const float u = (static_cast<float>(i % kEdge) + 0.5f) / kEdge;
            const float v = (static_cast<float>(i / kEdge) + 0.5f) / kEdge;
            const float root = std::sqrt(u);
            const Float3 d = a + (b - a) * (1.0f - root) + (c - a) * (v * root) - at;
            const double d2 = static_cast<double>(dot(d, d)), cosine = static_cast<double>(d.y) / std::sqrt(d2);
            angle += area * cosine / d2 / (kEdge * kEdge);
            wanted += area * cosine * cosine / d2 / (kEdge * kEdge);
        }
        measureSolidAngles(*built.scene, {at, {0, 1, 0}}, angle, 0.0);
        const LightChoice choice(*built.scene);
        double irradiance = 0.0;
        constexpr int kSamples = 150;
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const float w[4] = {0.5f, 0.5f, (static_cast<float>(i % kSamples) + 0.5f) / kSamples,
                                (static_cast<float>(i / kSamples) + 0.5f) / kSamples};
            const LightSample s = sampleLight(*built.scene, choice, {at, {0, 1, 0}}, w);
            ASSERT_NEAR(1.0 / static_cast<double>(s.pdf), angle, 2e-3 * angle);
            irradiance += static_cast<double>(s.direction.y) * angle / (kSamples * kSamples);
        }
        EXPECT_NEAR(irradiance, wanted, 0.01 * wanted);
    }
}

/// More polygons than a tree has leaves: a sheet of 300 by 300.
TEST(Lights, VeryManyPolygonsShareLeaves) {
    constexpr int kEdge = 300;
    MeshData m;
    for (int y = 0; y < kEdge; ++y) {
        for (int x = 0; x < kEdge; ++x) {
            const auto at = [&](int i, int j) {
                return Float3{static_cast<float>(i) / kEdge - 0.5f, 1, static_cast<float>(j) / kEdge - 0.5f};
            };
            m.quad(at(x, y), at(x + 1, y), at(x + 1, y + 1), at(x, y + 1), (x + y) % 3 == 0);
        }
    }
    Scene scene(8, 8, 1);
    const NodeRecordPtr mesh = scene.keep(m.node({scene.emitter(splat(1.0f), true), scene.emitter(splat(7.0f), true)}));
    const Built built(scene.delta(mesh));
    ASSERT_GT(built.scene->lights->sets[0]->perLeaf, 1u);
    measureSolidAngles(*built.scene, {{}, {0, 1, 0}}, rectangleAngle(0.5, 0.5, 1.0), 0.0);
}

/// The tree and a blind choice have the same mean; the tree's spread is far smaller.
TEST(Lights, TheTreeIsBetterThanBlindChoice) {
    Random random;
    Scene scene(8, 8, 1);
    const NodeRecordPtr lamp =
        scene.keep(MeshData()
                       .quad({-0.02f, 0, 0.02f}, {-0.02f, 0, -0.02f}, {0.02f, 0, -0.02f}, {0.02f, 0, 0.02f})
                       .node({scene.emitter(splat(50.0f))}));
    std::vector<Matrix<float>> places;
    for (int i = 0; i < 2000; ++i)
        places.push_back(translation({40 * random() - 20, 1 + random(), 40 * random() - 20}));
    const Built built(scene.delta(scene.scatter(lamp, places)));
    const RenderScene blind = byPowerAlone(*built.scene);
    const auto estimate = [&](const RenderScene& s, double& variance) {
        const LightChoice choice(s);
        double sum = 0.0, squares = 0.0;
        constexpr int kCount = 100000;
        for (int i = 0; i < kCount; ++i) {
            const float u[4] = {random(), random(), random(), random()};
            const LightSample l = sampleLight(s, choice, {{0.3f, 0, 0.2f}, {0, 1, 0}}, u);
            const double x = l.pdf > 0.0f ? static_cast<double>(l.radiance.x * l.direction.y / l.pdf) : 0.0;
            sum += x;
            squares += x * x;
        }
        variance = squares / kCount - (sum / kCount) * (sum / kCount);
        return sum / kCount;
    };
    double withTree = 0.0, without = 0.0;
    const double a = estimate(*built.scene, withTree), b = estimate(blind, without);
    EXPECT_NEAR(a, b, 5.0 * std::sqrt((withTree + without) / 100000.0));
    EXPECT_LT(withTree * 25.0, without);
}

TEST(Lights, APowersEditKeepsGeometryAndLists) {
    Scene scene(8, 8, 1);
    Node emission(NT_EMIS_TEXTURE);
    emission.connect(P_EMIS_TEXTURE, scene.keep(rgb({1, 0.5f, 0.2f}))).set(P_POWER, 2.0f);
    const NodeRecordPtr first = scene.keep(emission);
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_EMISSION, first));
    const NodeRecordPtr mesh = scene.keep(splitSquare().node({material, material}));
    SceneDelta delta = scene.delta(scene.scatter(mesh, {Matrix<float>{}, translation({0, 3, 0})}));
    Built built(delta);
    const RenderScenePtr before = built.scene;
    delta.changed = {Node(first).set(P_POWER, 6.0f)};
    const RenderScenePtr after = built.compiler.apply(delta).scene;
    EXPECT_EQ(before->geometry, after->geometry);
    EXPECT_EQ(before->lights->sets[0], after->lights->sets[0]);
    EXPECT_NEAR(after->lights->bounds.power, 3.0f * before->lights->bounds.power, 1e-3f);
}

}  // namespace
}  // namespace Lumora::engine::test
