#include "engine/render/bsdf/albedo_tables.h"

#include "engine/render/bsdf/fresnel.h"
#include "engine/render/bsdf/microfacet.h"
#include "engine/render/bsdf/sheen.h"
#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

constexpr int kSamples = 64;
/// Largest (eta - 1) / (eta + 1) of the tables: an index of 8 is within.
constexpr float kMaxContrast = 0.8f;

/// Additive recurrence with the plastic number (Roberts 2018): even coverage at any count.
Float2 point(int i) {
    const float f = static_cast<float>(i);
    const float x = 0.5f + 0.7548776662f * f, y = 0.5f + 0.5698402910f * f;
    return {x - std::floor(x), y - std::floor(y)};
}

Float3 directionAt(int step) {
    const float x = std::max(static_cast<float>(step) / (AlbedoCurve::kSize - 1), 0.02f), z = x * x;
    return {std::sqrt(std::max(0.0f, 1.0f - z * z)), 0.0f, z};
}

void takeMean(AlbedoCurve& curve) {
    constexpr int kSteps = 256;
    double sum = 0.0;
    for (int i = 0; i < kSteps; ++i) {
        const float x = (static_cast<float>(i) + 0.5f) / kSteps;
        sum += 4.0 * x * x * x * curve.at(x * x);
    }
    curve.mean = static_cast<float>(sum / kSteps);
}

AlbedoCurve measureMirror(float alpha) {
    AlbedoCurve curve;
    const Microfacets facets(BrdfModel::Ggx, alpha, alpha);
    for (int step = 0; step < AlbedoCurve::kSize; ++step) {
        const Float3 wo = directionAt(step);
        const float lo = facets.lambda(wo);
        float sum = 0.0f;
        for (int i = 0; i < 4 * kSamples; ++i) {
            const Float3 h = facets.sample(wo, point(i)), wi = h * (2.0f * dot(wo, h)) - wo;
            if (wi.z > 0.0f) sum += (1.0f + lo) / (1.0f + lo + facets.lambda(wi));
        }
        curve.values[static_cast<std::size_t>(step)] = std::min(sum / (4 * kSamples), 1.0f);
    }
    takeMean(curve);
    return curve;
}

void measureDielectric(float alpha, float eta, AlbedoCurve& reflection, AlbedoCurve& both) {
    const Microfacets facets(BrdfModel::Ggx, alpha, alpha);
    for (int step = 0; step < AlbedoCurve::kSize; ++step) {
        const Float3 wo = directionAt(step);
        const float lo = facets.lambda(wo);
        float reflected = 0.0f, refracted = 0.0f;
        for (int i = 0; i < kSamples; ++i) {
            const Float3 h = facets.sample(wo, point(i));
            const float c = clamp01(dot(wo, h));
            float cosT;
            const float f = fresnelDielectric(c, eta, cosT);
            const Float3 up = h * (2.0f * c) - wo, down = h * (c / eta - cosT) - wo * (1.0f / eta);
            if (up.z > 0.0f) reflected += f * (1.0f + lo) / (1.0f + lo + facets.lambda(up));
            if (f < 1.0f && down.z < 0.0f) refracted += (1.0f - f) * (1.0f + lo) / (1.0f + lo + facets.lambda(down));
        }
        const auto s = static_cast<std::size_t>(step);
        reflection.values[s] = std::min(reflected / kSamples, 1.0f);
        both.values[s] = std::min((reflected + refracted) / kSamples, 1.0f);
    }
    takeMean(reflection);
    takeMean(both);
}

AlbedoCurve measureSheen(float roughness) {
    AlbedoCurve curve;
    for (int step = 0; step < AlbedoCurve::kSize; ++step) {
        const Float3 wo = directionAt(step);
        float sum = 0.0f;
        for (int i = 0; i < 4 * kSamples; ++i) {
            const Float2 u = point(i);  // uniform over the hemisphere
            const float z = u.x, r = std::sqrt(std::max(0.0f, 1.0f - z * z)), phi = 2.0f * kPi * u.y;
            sum += sheenValue(roughness, wo, {r * std::cos(phi), r * std::sin(phi), z}) * z;
        }
        curve.values[static_cast<std::size_t>(step)] = sum * 2.0f * kPi / (4 * kSamples);
    }
    return curve;
}

AlbedoCurve blend(const AlbedoCurve& a, const AlbedoCurve& b, float t) {
    AlbedoCurve r;
    for (std::size_t i = 0; i < AlbedoCurve::kSize; ++i) r.values[i] = lerp(a.values[i], b.values[i], t);
    r.mean = lerp(a.mean, b.mean, t);
    return r;
}

/// Cell and place in it of a number in [0, 1] on a table of `size` points.
struct Place {
    std::size_t cell;
    float t;
    Place(float x, int size) {
        const float scaled = clamp01(x) * static_cast<float>(size - 1);
        const int i = std::min(static_cast<int>(scaled), size - 2);
        cell = static_cast<std::size_t>(i);
        t = scaled - static_cast<float>(i);
    }
};

}  // namespace

const AlbedoTables& AlbedoTables::get() {
    static const AlbedoTables tables;
    return tables;
}

AlbedoTables::AlbedoTables() {
    for (std::size_t r = 0; r < kRough; ++r) {
        const float roughness = static_cast<float>(r) / (kRough - 1), alpha = std::max(roughness * roughness, 1e-5f);
        mirror_[r] = measureMirror(alpha);
        sheen_[r] = measureSheen(std::max(roughness, kMinSheenRoughness));
        const float most = *std::max_element(sheen_[r].values.begin(), sheen_[r].values.end());
        sheenScale_[r] = 1.0f / std::max(most, 1.0f);
        for (float& v : sheen_[r].values) v *= sheenScale_[r];
        takeMean(sheen_[r]);
        for (std::size_t i = 0; i < kIndex; ++i) {
            const float contrast = kMaxContrast * static_cast<float>(i) / (kIndex - 1);
            const float eta = std::max((1.0f + contrast) / (1.0f - contrast), 1.0001f);
            measureDielectric(alpha, eta, reflection_[0][i][r], glass_[0][i][r]);
            measureDielectric(alpha, 1.0f / eta, reflection_[1][i][r], glass_[1][i][r]);
        }
    }
}

AlbedoCurve AlbedoTables::interpolate(const Grid& grid, float alpha, float eta) {
    const float above = eta < 1.0f ? 1.0f / eta : eta;
    const Place i((above - 1.0f) / (above + 1.0f) / kMaxContrast, kIndex), r(std::sqrt(alpha), kRough);
    return blend(blend(grid[i.cell][r.cell], grid[i.cell][r.cell + 1], r.t),
                 blend(grid[i.cell + 1][r.cell], grid[i.cell + 1][r.cell + 1], r.t), i.t);
}

AlbedoCurve AlbedoTables::mirror(float alpha) const {
    const Place r(std::sqrt(alpha), kRough);
    return blend(mirror_[r.cell], mirror_[r.cell + 1], r.t);
}

AlbedoCurve AlbedoTables::reflection(float alpha, float eta) const {
    return interpolate(reflection_[eta < 1.0f], alpha, eta);
}

AlbedoCurve AlbedoTables::glass(float alpha, float eta) const {
    return interpolate(glass_[eta < 1.0f], alpha, eta);
}

AlbedoCurve AlbedoTables::sheen(float roughness, float& scale) const {
    const Place r(roughness, kRough);
    scale = lerp(sheenScale_[r.cell], sheenScale_[r.cell + 1], r.t);
    return blend(sheen_[r.cell], sheen_[r.cell + 1], r.t);
}

}  // namespace Lumora::engine
