// Distributions against their densities, densities against closed forms.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/integrator.h"
#include "tests/engine/render/scene_builder.h"
#include "tests/engine/render/statistics.h"

namespace Lumora::engine::test {
namespace {

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
    ASSERT_TRUE(e.canSample());

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
