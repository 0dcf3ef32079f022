// Scattering against the laws that it must keep: no energy made, none lost where none is absorbed, directions that may
// be exchanged, and samples that follow their density.
#include <gtest/gtest.h>

#include "engine/render/bsdf.h"

namespace Lumora::engine::test {
namespace {

struct Random {
    std::uint32_t state = 1;
    float operator()() { return sobol::toUnit(sobol::hash(state++)); }
};

struct Case {
    std::string name;
    SurfaceModel model;
    bool lossless = false;    ///< returns all light
    float tolerance = 0.01f;  ///< of the albedo, relative to what it may be
};

const Float3 kWhite = splat(1.0f);

SurfaceModel diffuse(float roughness, Float3 color = kWhite) {
    SurfaceModel m;
    m.diffuse = color;
    m.diffuseRoughness = roughness;
    return m;
}

SurfaceModel rough(SurfaceModel m, float ax, float ay, BrdfModel brdf = BrdfModel::Compensated) {
    m.ax = ax;
    m.ay = ay;
    m.brdf = brdf;
    return m;
}

SurfaceModel glossy(float alpha, float eta, float specular = 1.0f) {
    SurfaceModel m = diffuse(0.0f);
    m.reflection = splat(specular);
    m.eta = eta;
    return rough(m, alpha, alpha);
}

SurfaceModel glass(float alpha, float eta) {
    SurfaceModel m;
    m.reflection = m.refraction = kWhite;
    m.clear = 1.0f;
    m.eta = eta;
    return rough(m, alpha, alpha);
}

SurfaceModel metal(float alpha, Float3 color = kWhite) {
    SurfaceModel m;
    m.metallic = 1.0f;
    m.metal = color;
    return rough(m, alpha, alpha);
}

SurfaceModel copper(float alpha, IndexMode mode) {
    SurfaceModel m = metal(alpha, {1.0f, 0.8f, 0.6f});
    m.indexMode = mode;
    m.metalIndex = {0.27f, 0.68f, 1.32f};
    m.metalExtinction = {3.4f, 2.6f, 2.3f};
    return m;
}

SurfaceModel coated(SurfaceModel m, float alpha, float eta = 1.5f) {
    m.coating = kWhite;
    m.coatingAlpha = alpha;
    m.coatingEta = eta;
    return m;
}

SurfaceModel sheened(SurfaceModel m, float roughness, float amount = 1.0f) {
    m.sheen = splat(amount);
    m.sheenRoughness = roughness;
    return m;
}

SurfaceModel filmed(SurfaceModel m, float width) {
    m.filmWidth = width;
    m.filmIndex = 1.33f;
    return m;
}

std::vector<Case> cases() {
    std::vector<Case> all;
    const auto add = [&](std::string name, const SurfaceModel& m, bool lossless = false, float tolerance = 0.01f) {
        all.push_back({std::move(name), m, lossless, tolerance});
    };
    for (const float r : {0.0f, 0.5f, 1.0f}) add("diffuse " + std::to_string(r), diffuse(r), true);
    SurfaceModel leaf = diffuse(0.0f, splat(0.6f));
    leaf.diffuseTransmission = splat(0.4f);
    add("leaf", leaf, true);
    for (const float a : {0.0f, 0.04f, 0.25f, 1.0f}) {
        const std::string s = " " + std::to_string(a);
        add("mirror" + s, metal(a), true, 0.015f);
        add("glossy" + s, glossy(a, 1.5f), true, 0.02f);
        add("dense glossy" + s, glossy(a, 4.0f), true, 0.02f);
        add("half glossy" + s, glossy(a, 1.5f, 0.5f), true, 0.02f);
        add("glass" + s, glass(a, 1.5f), true, 0.02f);
        add("glass from inside" + s, glass(a, 1.0f / 1.5f), true, 0.03f);
        add("copper" + s, copper(a, IndexMode::SpectralIndex));
        add("coated mirror" + s, coated(metal(0.25f), a), true, 0.05f);
        add("coated diffuse" + s, coated(diffuse(0.5f), a));
        add("coated glass" + s, coated(glass(0.25f, 1.3f), a));
        add("film on glossy" + s, filmed(glossy(a, 1.5f), 0.4f));
        add("film on copper" + s, filmed(copper(a, IndexMode::IndexColor), 0.3f));
    }
    add("no bend", glass(0.3f, 1.0f), true);
    add("film on glass", filmed(glass(0.0f, 1.5f), 0.5f), true);
    for (const BrdfModel b :
         {BrdfModel::Beckmann, BrdfModel::Ggx, BrdfModel::Ward, BrdfModel::CompensatedBeckmann, BrdfModel::Blinn}) {
        const std::string s = " of model " + std::to_string(static_cast<int>(b));
        for (const float a : {0.1f, 0.5f, 1.0f}) {
            add("mirror" + s, rough(metal(a), a, a, b));
            add("glossy" + s, rough(glossy(a, 1.5f), a, a, b), false, 0.03f);
        }
        add("brushed" + s, rough(metal(0.3f), 0.5f, 0.1f, b));
        add("glass" + s, rough(glass(0.3f, 1.5f), 0.3f, 0.3f, b), false, 0.03f);
    }
    add("brushed mirror", rough(metal(0.3f), 0.6f, 0.06f), false, 0.02f);
    add("brushed glass", rough(glass(0.3f, 1.5f), 0.06f, 0.6f), false, 0.03f);
    for (const float r : {0.0f, 0.3f, 1.0f}) {
        add("sheen on black " + std::to_string(r), sheened({}, r));
        add("sheen on white " + std::to_string(r), sheened(diffuse(0.0f), r));
        add("coat over sheen " + std::to_string(r), coated(sheened(diffuse(0.0f), r, 0.5f), 0.2f));
    }
    // All at once.
    SurfaceModel half = glossy(0.3f, 1.5f);
    half.metallic = 0.4f;
    half.metal = kWhite;
    half.refraction = splat(0.5f);
    half.clear = 0.5f;
    add("half of everything", half, false, 0.02f);
    SurfaceModel inside = half;
    inside.eta = 1.0f / half.eta;
    add("half of everything from inside", inside, false, 0.02f);
    add("half of everything, coated", sheened(coated(half, 0.1f), 0.4f), false, 0.02f);
    return all;
}

const std::vector<float> kCosines = {1.0f, 0.7f, 0.3f, 0.06f};

Float3 directionAt(float cosine, float phi = 0.7f) {
    const float s = std::sqrt(1.0f - cosine * cosine);
    return {s * std::cos(phi), s * std::sin(phi), cosine};
}

Bsdf bsdfOf(const SurfaceModel& m, Float3 wo) {
    const Float3 n{0, 0, 1};
    return Bsdf(m, wo, n, n, {1, 0, 0});
}

/// What is seen of the surface in a uniform white field, by sampling its directions.
TEST(Bsdf, WhiteFurnace) {
    constexpr int kCount = 12000;
    for (const Case& c : cases()) {
        for (const float cosine : kCosines) {
            const Bsdf bsdf = bsdfOf(c.model, directionAt(cosine));
            Random random;
            double sum[3] = {}, squares = 0.0;
            for (int i = 0; i < kCount; ++i) {
                const float u[3] = {random(), random(), random()};
                const BsdfSample s = bsdf.sample(u);
                ASSERT_TRUE(isFinite(s.weight)) << c.name;
                ASSERT_GE(std::min({s.weight.x, s.weight.y, s.weight.z}), 0.0f) << c.name;
                if (isBlack(s.weight)) continue;
                ASSERT_NEAR(length(s.direction), 1.0f, 1e-4f) << c.name;
                sum[0] += s.weight.x;
                sum[1] += s.weight.y;
                sum[2] += s.weight.z;
                squares += s.weight.y * s.weight.y;
            }
            for (double& v : sum) v /= kCount;
            const double noise = 4.0 * std::sqrt(std::max(squares / kCount - sum[1] * sum[1], 0.0) / kCount);
            for (const double v : sum) {
                EXPECT_LT(v, 1.0 + c.tolerance + noise) << c.name << " at cosine " << cosine;
                if (c.lossless) {
                    EXPECT_GT(v, 1.0 - c.tolerance - noise) << c.name << " at cosine " << cosine;
                }
                EXPECT_GE(v, 0.0) << c.name;
            }
            // The same integral with directions from elsewhere: value and density are each other's.
            if (bsdf.lobes() & kSpecularLobe) continue;
            double other = 0.0, otherSquares = 0.0, mass = 0.0;
            for (int i = 0; i < kCount; ++i) {
                const float z = 2.0f * random() - 1.0f, phi = 2.0f * kPi * random();
                float pdf = 0.0f;
                const double v = bsdf.evaluate(directionAt(z, phi), pdf).y * 4.0 * kPi;
                other += v;
                otherSquares += v * v;
                mass += pdf * 4.0 * kPi;
            }
            other /= kCount;
            const double otherNoise = 5.0 * std::sqrt(std::max(otherSquares / kCount - other * other, 0.0) / kCount);
            EXPECT_NEAR(other, sum[1], otherNoise + noise + 0.01) << c.name << " at cosine " << cosine;
        }
    }
}

TEST(Bsdf, DirectionsMayBeExchanged) {
    Random random;
    for (const Case& c : cases()) {
        int compared = 0;
        for (int i = 0; i < 300; ++i) {
            const Float3 a = directionAt(0.05f + 0.95f * random(), 6.28f * random());
            Float3 b = directionAt(0.05f + 0.95f * random(), 6.28f * random());
            const bool through = c.model.clear > 0.0f || !isBlack(c.model.diffuseTransmission) ? i % 2 == 1 : false;
            SurfaceModel beyond = c.model;
            Float3 n{0, 0, 1};
            float scale = 1.0f;
            if (through) {
                b.z = -b.z;
                n.z = -1.0f;
                if (c.model.clear > 0.0f) {
                    beyond.eta = 1.0f / c.model.eta;
                    // The share of light that finds its way through is told per solid angle of either side.
                    scale = c.model.eta * c.model.eta;
                }
            }
            float pdf;
            const Float3 there = bsdfOf(c.model, a).evaluate(b, pdf) * (1.0f / std::abs(b.z));
            const Float3 back = Bsdf(beyond, b, n, n, {1, 0, 0}).evaluate(a, pdf) * (scale / std::abs(a.z));
            if (through && !isBlack(c.model.diffuseTransmission)) continue;
            for (const auto& [x, y] : {std::pair{there.x, back.x}, {there.y, back.y}, {there.z, back.z}}) {
                EXPECT_NEAR(x, y, 2e-3f * std::max(x, y) + 3e-4f) << c.name << (through ? " through" : "");
            }
            compared += !isBlack(there);
        }
        if (bsdfOf(c.model, {0, 0, 1}).finite()) {
            EXPECT_GT(compared, 0) << c.name;
        }
    }
}

/// Pearson's statistic may exceed this with a chance of one in a million (Wilson and Hilferty's approximation).
double chiSquareLimit(int degrees) {
    const double n = degrees, a = 2.0 / (9.0 * n);
    return n * std::pow(1.0 - a + 4.753 * std::sqrt(a), 3.0);
}

/// Samples of finite lobes, counted in cells of the sphere, against the integral of the density over each cell.
TEST(Bsdf, SamplesFollowTheirDensity) {
    constexpr int kCount = 30000, kRows = 12, kColumns = 12, kFine = 8;
    for (const Case& c : cases()) {
        const bool narrow = (c.model.ax > 0.0f && c.model.ax < 0.1f) || (c.model.ay > 0.0f && c.model.ay < 0.1f) ||
                            (c.model.coatingAlpha > 0.0f && c.model.coatingAlpha < 0.1f && !isBlack(c.model.coating));
        if (narrow) continue;  // the cells would be too coarse for the peak
        for (const float cosine : {0.9f, 0.25f}) {
            const Bsdf bsdf = bsdfOf(c.model, directionAt(cosine));
            if (!bsdf.finite()) continue;
            std::vector<double> counts(kRows * kColumns), expected(kRows * kColumns);
            Random random{77};
            for (int i = 0; i < kCount; ++i) {
                const float u[3] = {random(), random(), random()};
                const BsdfSample s = bsdf.sample(u);
                if (s.specular() || !(s.pdf > 0.0f)) continue;
                const float phi = std::atan2(s.direction.y, s.direction.x) * (0.5f * kInvPi) + 0.5f;
                const int row = std::min(static_cast<int>((s.direction.z + 1.0f) * 0.5f * kRows), kRows - 1);
                ++counts[static_cast<std::size_t>(row * kColumns +
                                                  std::min(static_cast<int>(phi * kColumns), kColumns - 1))];
            }
            for (int y = 0; y < kRows * kFine; ++y) {
                for (int x = 0; x < kColumns * kFine; ++x) {
                    const float z = 2.0f * (static_cast<float>(y) + 0.5f) / (kRows * kFine) - 1.0f;
                    const float phi = 2.0f * kPi * ((static_cast<float>(x) + 0.5f) / (kColumns * kFine) - 0.5f);
                    float pdf = 0.0f;
                    bsdf.evaluate(directionAt(z, phi), pdf);
                    expected[static_cast<std::size_t>((y / kFine) * kColumns + x / kFine)] +=
                        kCount * pdf * 4.0 * kPi / (kRows * kFine * kColumns * kFine);
                }
            }
            double sum = 0.0;
            int degrees = -1;
            for (std::size_t i = 0; i < counts.size(); ++i) {
                if (expected[i] < 5.0) continue;
                // The integral is a sum over points: a relative error is granted to it.
                const double variance = expected[i] + std::pow(0.02 * expected[i], 2.0);
                sum += (counts[i] - expected[i]) * (counts[i] - expected[i]) / variance;
                ++degrees;
            }
            if (degrees <= 0) continue;
            EXPECT_LT(sum, chiSquareLimit(degrees)) << c.name << " at cosine " << cosine;
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test
