#include "engine/render/environment.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

/// Cells of the distribution and lookups along a cell's edge, by the largest image of the textures: every pixel counts.
struct Grid {
    std::uint32_t width = 256, lookups = 2;
};

Grid gridFor(const TextureTable& textures) {
    const std::uint32_t largest = textures.largestImage();
    Grid g;
    if (largest > 0) g.width = largest <= 512 ? 512 : 1024;
    g.lookups = std::clamp((largest + g.width - 1) / g.width, 2u, 8u);
    return g;
}

}  // namespace

Float2 directionToMap(Float3 d) {
    return {0.5f + std::atan2(d.x, -d.z) * (0.5f * kInvPi), 1.0f - std::acos(std::clamp(d.y, -1.0f, 1.0f)) * kInvPi};
}

Float3 mapToDirection(Float2 uv) {
    const float theta = (1.0f - uv.y) * kPi, phi = (uv.x - 0.5f) * (2.0f * kPi), s = std::sin(theta);
    return {s * std::sin(phi), std::cos(theta), -s * std::cos(phi)};
}

Float3 EnvironmentSource::radiance(Float3 direction) const {
    Float3 r = sky ? sky->radiance(direction) : Float3{};
    if (texture == kNoTexture) return r;
    if (textures.isConstant(texture)) return r + textures.nodes[texture].value;
    TextureContext at;
    const Float2 uv = directionToMap(direction);
    at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, uv.y, 0.0f};
    at.worldPosition = at.objectPosition = at.worldNormal = at.objectNormal = at.shadingNormal = direction;
    at.view = direction;
    const Float3 t = textures.color(texture, at);
    return r + Float3{std::max(t.x, 0.0f), std::max(t.y, 0.0f), std::max(t.z, 0.0f)};
}

void EnvironmentSource::measure() {
    if (!sky && textures.isConstant(texture)) {
        meanLuminance = texture == kNoTexture ? 0.0f : std::max(luminance(textures.nodes[texture].value), 0.0f);
        return;
    }
    const Grid grid = gridFor(textures);
    const std::uint32_t width = grid.width, height = width / 2, n = grid.lookups;
    std::vector<float> cells(static_cast<std::size_t>(width) * height);
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, height), [&](const auto& rows) {
        for (std::uint32_t y = rows.begin(); y != rows.end(); ++y) {
            for (std::uint32_t x = 0; x < width; ++x) {
                float sum = 0.0f;
                for (std::uint32_t k = 0; k < n * n; ++k) {
                    const Float2 in = {(static_cast<float>(k % n) + 0.5f) / static_cast<float>(n),
                                       (static_cast<float>(k / n) + 0.5f) / static_cast<float>(n)};
                    const Float2 uv = {(static_cast<float>(x) + in.x) / static_cast<float>(width),
                                       (static_cast<float>(y) + in.y) / static_cast<float>(height)};
                    const float l = luminance(radiance(mapToDirection(uv)));
                    sum += std::isfinite(l) ? std::max(l, 0.0f) * std::sin(uv.y * kPi) : 0.0f;
                }
                cells[static_cast<std::size_t>(y) * width + x] = sum;
            }
        }
    });
    double sum = 0.0;
    for (const float c : cells) sum += static_cast<double>(c);
    // Each cell has its share of the map, which is two pi by pi; the sphere has four pi.
    meanLuminance = static_cast<float>(sum / (static_cast<double>(n) * n * width * height) * 0.5 * kPi);
    distribution = Distribution2D(cells, width, height);
}

Float3 Environment::sample(Float2 u, Float3& direction, float& pdf) const {
    if (source->distribution.empty()) {
        direction = sampleSphere(u);
        pdf = 0.25f * kInvPi;
        return radiance(direction);
    }
    const Float2 uv = source->distribution.sample(u, pdf);
    direction = mapToDirection(uv);
    const float sinTheta = std::sin((1.0f - uv.y) * kPi);
    pdf = sinTheta > 0.0f ? pdf / (2.0f * kPi * kPi * sinTheta) : 0.0f;
    return pdf > 0.0f ? radiance(direction) : Float3{};
}

float Environment::pdf(Float3 direction) const {
    if (source->distribution.empty()) return 0.25f * kInvPi;
    const Float2 uv = directionToMap(direction);
    const float sinTheta = std::sin((1.0f - uv.y) * kPi);
    return sinTheta > 0.0f ? source->distribution.pdf(uv) / (2.0f * kPi * kPi * sinTheta) : 0.0f;
}

}  // namespace Lumora::engine
