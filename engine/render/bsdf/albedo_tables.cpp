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

/// Mirrors at facets that are seen, and what is refracted there, in shares of the light from one direction. Models
/// without a way to find the facets that are seen take more samples.
struct Measured {
    float mirror = 0.0f, reflected = 0.0f, refracted = 0.0f;
};

Measured measure(const Microfacets& facets, Float3 wo, float eta, int count) {
    if (!facets.ggx()) count *= 4;
    Measured m;
    for (int i = 0; i < count; ++i) {
        const Float3 h = facets.sample(wo, point(i));
        const float c = dot(wo, h), density = facets.density(h), pdf = facets.pdf(wo, h, density);
        if (!(c > 0.0f) || !(pdf > 0.0f)) continue;
        float cosT;
        const float f = fresnelDielectric(std::min(c, 1.0f), eta, cosT);
        const Float3 up = h * (2.0f * c) - wo, down = h * (c / eta - cosT) - wo * (1.0f / eta);
        if (up.z > 0.0f) {
            const float weight = facets.reflection(wo, up, h, density) * 4.0f * c / pdf;
            m.mirror += weight;
            m.reflected += f * weight;
        }
        if (f < 1.0f && down.z < 0.0f)
            m.refracted += (1.0f - f) * density * facets.masking(wo, down, h) * c / (wo.z * pdf);
    }
    const float scale = 1.0f / static_cast<float>(count);
    return {m.mirror * scale, m.reflected * scale, m.refracted * scale};
}

AlbedoCurve measureMirror(const Microfacets& facets) {
    AlbedoCurve curve;
    for (int step = 0; step < AlbedoCurve::kSize; ++step)
        curve.values[static_cast<std::size_t>(step)] =
            std::min(measure(facets, directionAt(step), 1.5f, 4 * kSamples).mirror, 1.0f);
    takeMean(curve);
    return curve;
}

void measureDielectric(const Microfacets& facets, float eta, AlbedoCurve& reflection, AlbedoCurve& both) {
    for (int step = 0; step < AlbedoCurve::kSize; ++step) {
        const Measured m = measure(facets, directionAt(step), eta, kSamples);
        const auto s = static_cast<std::size_t>(step);
        reflection.values[s] = std::min(m.reflected, 1.0f);
        both.values[s] = std::min(m.reflected + m.refracted, 1.0f);
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

const AlbedoTables& AlbedoTables::get(BrdfModel model) {
    switch (model) {
        case BrdfModel::Beckmann:
        case BrdfModel::CompensatedBeckmann: {
            static const AlbedoTables tables(BrdfModel::Beckmann);
            return tables;
        }
        case BrdfModel::Ward: {
            static const AlbedoTables tables(BrdfModel::Ward);
            return tables;
        }
        case BrdfModel::Blinn: {
            static const AlbedoTables tables(BrdfModel::Blinn);
            return tables;
        }
        default:
            break;
    }
    static const AlbedoTables tables(BrdfModel::Ggx);
    return tables;
}

AlbedoTables::AlbedoTables(BrdfModel model) {
    for (std::size_t r = 0; r < kRough; ++r) {
        const float roughness = static_cast<float>(r) / (kRough - 1), alpha = std::max(roughness * roughness, 1e-5f);
        const Microfacets facets(model, alpha, alpha);
        mirror_[r] = measureMirror(facets);
        for (std::size_t i = 0; i < kIndex; ++i) {
            const float contrast = kMaxContrast * static_cast<float>(i) / (kIndex - 1);
            const float eta = std::max((1.0f + contrast) / (1.0f - contrast), 1.0001f);
            measureDielectric(facets, eta, reflection_[0][i][r], glass_[0][i][r]);
            measureDielectric(facets, 1.0f / eta, reflection_[1][i][r], glass_[1][i][r]);
        }
        sheen_[r] = measureSheen(lerp(kMinSheenRoughness, 1.0f, roughness));
        const float most = *std::max_element(sheen_[r].values.begin(), sheen_[r].values.end());
        sheenScale_[r] = 1.0f / std::max(most, 1.0f);
        for (float& v : sheen_[r].values) v *= sheenScale_[r];
        takeMean(sheen_[r]);
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
    const Place r((roughness - kMinSheenRoughness) / (1.0f - kMinSheenRoughness), kRough);
    scale = lerp(sheenScale_[r.cell], sheenScale_[r.cell + 1], r.t);
    return blend(sheen_[r.cell], sheen_[r.cell + 1], r.t);
}

}  // namespace Lumora::engine
