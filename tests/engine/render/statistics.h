// Whether counts follow a distribution.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "engine/render/sampler.h"

namespace Lumora::engine::test {

/// Pearson's statistic may exceed this with a chance of one in a million (Wilson and Hilferty's approximation).
inline double chiSquareLimit(int degrees) {
    const double n = degrees, a = 2.0 / (9.0 * n);
    return n * std::pow(1.0 - a + 4.753 * std::sqrt(a), 3.0);
}

inline void expectDistributed(const std::vector<double>& counts, const std::vector<double>& expected,
                              const char* what) {
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

}  // namespace Lumora::engine::test
