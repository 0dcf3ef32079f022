// Noise: its range, mean and continuity.
#include "engine/render/textures/noise.h"

#include <gtest/gtest.h>

#include <functional>

namespace Lumora::engine::test {
namespace {

Float3 scattered(std::uint32_t i) {
    const auto axis = [i](std::uint32_t k) { return 200.0f * unitFloat(hashBits(i, k)) - 100.0f; };
    return {axis(1), axis(2), axis(3)};
}

TEST(Noise, StatisticsAndContinuity) {
    const Octaves five;
    const struct {
        const char* name;
        std::function<float(Float3)> value;
        float low, high, mean, leastDeviation;
        float slope;  ///< change over a step of 0.001 at most; 0: it jumps
    } cases[] = {
        {"gradient", gradientNoise, -1, 1, 0.0f, 0.2f, 0.005f},
        {"fractal", [&](Float3 p) { return fractalNoise(p, five, 0); }, -1, 1, 0.0f, 0.1f, 0.015f},
        {"turbulence", [&](Float3 p) { return turbulence(p, five, 0); }, 0, 1, 0.24f, 0.05f, 0.015f},
        {"ridged", [&](Float3 p) { return ridgedNoise(p, five, 0, 0); }, 0, 1, 0.6f, 0.1f, 0.1f},
        {"circular", [&](Float3 p) { return circularNoise(p, {1}, 0); }, 0, 1, 0.33f, 0.1f, 0.005f},
        {"chips", [&](Float3 p) { return chipNoise(p, {1}, 0); }, 0, 1, 0.5f, 0.25f, 0.0f},
    };
    for (const auto& c : cases) {
        constexpr int kCount = 20000;
        double sum = 0, squares = 0;
        float least = 1e9f, most = -1e9f, jump = 0;
        for (std::uint32_t i = 0; i < kCount; ++i) {
            const Float3 p = scattered(i);
            const float v = c.value(p);
            sum += v;
            squares += static_cast<double>(v) * v;
            least = std::min(least, v);
            most = std::max(most, v);
            jump = std::max(jump, std::abs(c.value(p + Float3{0.001f, 0, 0}) - v));
        }
        const double mean = sum / kCount;
        EXPECT_GE(least, c.low) << c.name;
        EXPECT_LE(most, c.high) << c.name;
        EXPECT_NEAR(mean, c.mean, 0.06) << c.name;
        EXPECT_GT(std::sqrt(squares / kCount - mean * mean), c.leastDeviation) << c.name;
        if (c.slope > 0) {
            EXPECT_LT(jump, c.slope) << c.name;
        }
    }
}

TEST(Noise, IsZeroOnTheLatticeAndDefinedEverywhere) {
    for (const float x : {-3.0f, 0.0f, 7.0f}) EXPECT_EQ(gradientNoise({x, 2.0f, -1.0f}), 0.0f);
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    for (const Float3 p : {Float3{kNan, 0, 0}, Float3{kInfinity, 1, 1}, Float3{1e30f, 0, 0}}) {
        EXPECT_TRUE(std::isfinite(fractalNoise(p, {}, 0)));
        EXPECT_TRUE(std::isfinite(circularNoise(p, {}, 0)));
    }
    // Fades to the mean under a wide footprint, without a step on the way.
    float last = fractalNoise({0.3f, 0.4f, 0.7f}, {}, 0.0f);
    for (float r = 0.0f; r < 2.0f; r += 0.01f) {
        const float v = fractalNoise({0.3f, 0.4f, 0.7f}, {}, r);
        EXPECT_NEAR(v, last, 0.02f) << r;
        last = v;
    }
    EXPECT_EQ(last, 0.0f);
}

}  // namespace
}  // namespace Lumora::engine::test
