// Distributions against their densities, densities against closed forms.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/integrator.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// Pearson's statistic may exceed this with a chance of one in a million (Wilson and Hilferty's approximation).
double chiSquareLimit(int degrees) {
    const double n = degrees, a = 2.0 / (9.0 * n);
    return n * std::pow(1.0 - a + 4.753 * std::sqrt(a), 3.0);
}

void expectDistributed(const std::vector<double>& counts, const std::vector<double>& expected, const char* what) {
    double sum = 0.0;
    int degrees = -1;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (expected[i] < 5.0) continue;
        sum += (counts[i] - expected[i]) * (counts[i] - expected[i]) / expected[i];
        ++degrees;
    }
    ASSERT_GT(degrees, 0) << what;
    EXPECT_LT(sum, chiSquareLimit(degrees)) << what;
}

/// Numbers without the stratification of the renderer's own: the test assumes independent ones.
struct Random {
    std::uint32_t state = 1;
    float operator()() { return sobol::toUnit(sobol::hash(state++)); }
};

TEST(Sampling, AliasTableFollowsItsWeights) {
    const std::vector<float> weights = {1, 0, 5, 0.01f, 3, -2, 7, std::nanf(""), 2.5f};
    const AliasTable table(weights);
    Random random;
    constexpr int kCount = 200000;
    std::vector<double> counts(weights.size()), expected(weights.size());
    double rest = 0.0;
    for (int i = 0; i < kCount; ++i) {
        float u = random();
        ++counts[table.sample(u)];
        rest += u;
    }
    for (std::uint32_t i = 0; i < weights.size(); ++i) expected[i] = kCount * static_cast<double>(table.probability(i));
    EXPECT_EQ(counts[1] + counts[5] + counts[7], 0.0);
    EXPECT_NEAR(rest / kCount, 0.5, 0.005) << "the remainder is uniform again";
    expectDistributed(counts, expected, "alias table");
}

TEST(Sampling, EnvironmentFollowsItsLuminance) {
    // A bright patch in one corner of the map, something everywhere else.
    constexpr int kWidth = 32, kHeight = 16;
    std::vector<float> pixels;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float v = x < 5 && y < 4 ? 50.0f : 0.2f + 0.02f * static_cast<float>(x);
            pixels.insert(pixels.end(), {v, v, v, 1.0f});
        }
    }
    Scene scene(8, 8, 1);
    const NodeRecordPtr sky = scene.keep(
        Node(NT_ENV_TEXTURE).connect(P_TEXTURE, scene.keep(image(kWidth, kHeight, pixels))).set(P_POWER, 1.0f));
    SceneDelta delta = scene.delta(nullptr);
    delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, sky));
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(delta).scene;
    const Environment& e = *built->environment;
    ASSERT_FALSE(e.distribution.empty());

    constexpr int kCellsX = 24, kCellsY = 12, kCount = 400000, kFine = 40;
    std::vector<double> counts(kCellsX * kCellsY), expected(kCellsX * kCellsY);
    Random random;
    double estimate = 0.0;
    for (int i = 0; i < kCount; ++i) {
        Float3 direction;
        float pdf = 0.0f;
        const float u = random(), v = random();
        const Float3 radiance = e.sample({u, v}, direction, pdf);
        ASSERT_GT(pdf, 0.0f);
        ASSERT_NEAR(length(direction), 1.0f, 1e-4f);
        estimate += luminance(radiance) / pdf;
        const Float2 uv = directionToMap(direction);
        ++counts[static_cast<std::size_t>(std::min(static_cast<int>(uv.y * kCellsY), kCellsY - 1) * kCellsX +
                                          std::min(static_cast<int>(uv.x * kCellsX), kCellsX - 1))];
    }
    // Both from the same grid: the density integrated over each cell, and the radiance over the sphere.
    double integral = 0.0;
    for (int y = 0; y < kCellsY * kFine; ++y) {
        for (int x = 0; x < kCellsX * kFine; ++x) {
            const Float2 uv = {(static_cast<float>(x) + 0.5f) / (kCellsX * kFine),
                               (static_cast<float>(y) + 0.5f) / (kCellsY * kFine)};
            const Float3 direction = mapToDirection(uv);
            const double solidAngle = 2.0 * kPi * kPi * std::sin(uv.y * kPi) / (kCellsX * kFine * kCellsY * kFine);
            expected[static_cast<std::size_t>((y / kFine) * kCellsX + x / kFine)] +=
                kCount * e.pdf(direction) * solidAngle;
            integral += luminance(e.radiance(direction)) * solidAngle;
        }
    }
    expectDistributed(counts, expected, "environment");
    EXPECT_NEAR(estimate / kCount, integral, 0.01 * integral);
}

TEST(Sampling, LightTreePicksItemsWithTheProbabilityThatItTells) {
    Random random;
    std::vector<LightTree::Item> items;
    for (int i = 0; i < 50; ++i) {
        items.push_back({{4 * random(), 4 * random(), 4 * random()}, 0.1f * random(), 0.01f + random()});
    }
    items[7] = items[8];  // two in one place
    const LightTree tree(items);
    for (const Float3 from : {Float3{2, 2, 2}, Float3{-9, 0, 1}, items[3].center}) {
        constexpr int kCount = 100000;
        std::vector<double> counts(items.size()), expected(items.size());
        for (int i = 0; i < kCount; ++i) {
            float probability = 0.0f;
            const float u = random(), v = random();
            const std::uint32_t item = tree.sample(from, {u, v}, probability);
            ++counts[item];
            ASSERT_FLOAT_EQ(probability, tree.probability(from, item));
        }
        double sum = 0.0;
        for (std::uint32_t i = 0; i < items.size(); ++i) {
            expected[i] = kCount * static_cast<double>(tree.probability(from, i));
            sum += expected[i];
        }
        EXPECT_NEAR(sum / kCount, 1.0, 1e-4);
        expectDistributed(counts, expected, "light tree");
    }
}

/// The mean of 1 / pdf over points chosen on emitters is the solid angle that they fill.
void measureSolidAngles(bool withTree) {
    Scene scene(8, 8, 1);
    MeshData m;
    // A unit square split unevenly into polygons of both kinds, with two materials.
    m.quad({-0.5f, 1, -0.5f}, {0.2f, 1, -0.5f}, {0.2f, 1, 0.5f}, {-0.5f, 1, 0.5f}, 0);
    m.triangle({0.2f, 1, -0.5f}, {0.5f, 1, -0.5f}, {0.5f, 1, 0.5f}, 1);
    m.triangle({0.2f, 1, -0.5f}, {0.5f, 1, 0.5f}, {0.2f, 1, 0.5f}, 0);
    const NodeRecordPtr mesh = scene.keep(m.node({scene.emitter(splat(1.0f), true), scene.emitter(splat(7.0f), true)}));
    SceneCompiler compiler(nullptr);
    // Two instances: the square, and a stretched one far below that fills a solid angle of its own.
    Matrix<float> below = scaling({3, 1, 2});
    below.m[1][3] = -4;
    auto built = std::make_shared<RenderScene>(
        *compiler.apply(scene.delta(scene.scatter(mesh, {Matrix<float>{}, below}))).scene);
    if (!withTree) {
        auto lights = std::make_shared<Lights>(*built->lights);
        lights->tree = {};
        built->lights = lights;
    }
    ASSERT_EQ(built->lights->tree.empty(), !withTree);
    const LightChoice choice(*built);
    const Float3 from{0, 0, 0};
    Random random;
    constexpr int kCount = 200000;
    double up = 0.0, down = 0.0;
    for (int i = 0; i < kCount; ++i) {
        const float u[4] = {random(), random(), random(), random()};
        const LightSample s = sampleLight(*built, choice, LightQuery{from, {}}, u);
        ASSERT_GT(s.pdf, 0.0f);
        (s.direction.y > 0 ? up : down) += 1.0 / s.pdf;
        if (i % 100 != 0) continue;
        // A ray that happens upon the same point must report the same density.
        const Ray ray{from, s.direction, 0.0f, kInfinity};
        const Hit hit = intersect(*built->geometry, ray);
        ASSERT_TRUE(hit.valid());
        EXPECT_NEAR(hit.t, s.distance, 1e-4f * s.distance);
        EXPECT_NEAR(emitterPdf(*built, choice, LightQuery{from, {}}, hit, surfaceAt(*built, hit, ray)), s.pdf,
                    0.01f * s.pdf);
    }
    const auto square = [](double a, double b, double d) {
        return 4.0 * std::asin(a * b / std::sqrt((a * a + d * d) * (b * b + d * d)));  // half edges a, b at distance d
    };
    EXPECT_NEAR(up / kCount, square(0.5, 0.5, 1.0), 0.01);
    EXPECT_NEAR(down / kCount, square(1.5, 1.0, 3.0), 0.01);
}

TEST(Sampling, EmitterDensityMeasuresSolidAngle) {
    measureSolidAngles(true);
    measureSolidAngles(false);
}

TEST(Sampling, SequencesAreStratifiedAndDecorrelated) {
    // Any 16 samples of a pixel put one number into each sixteenth, in each dimension of a set.
    for (std::uint32_t px = 0; px < 4; ++px) {
        int seen[2][4][16] = {};
        for (std::uint32_t i = 0; i < 16; ++i) {
            Sampler sampler(px, 7, i, 3);
            for (auto& set : seen) {
                const auto u = sampler.next4();
                for (int d = 0; d < 4; ++d) ++set[d][static_cast<int>(u[static_cast<std::size_t>(d)] * 16.0f)];
            }
        }
        for (const auto& set : seen) {
            for (const auto& dimension : set) {
                for (const int count : dimension) EXPECT_EQ(count, 1);
            }
        }
    }
    // Neighbours and later sets share nothing: the products average out.
    double neighbours = 0.0, sets = 0.0;
    constexpr int kCount = 20000;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        Sampler a(i % 141, i / 141, i % 64, 0), b(i % 141 + 1, i / 141, i % 64, 0);
        const float first = a.next1() - 0.5f;
        neighbours += first * (b.next1() - 0.5f);
        sets += first * (a.next1() - 0.5f);
    }
    EXPECT_LT(std::abs(neighbours / kCount), 0.003);
    EXPECT_LT(std::abs(sets / kCount), 0.003);
}

}  // namespace
}  // namespace Lumora::engine::test
