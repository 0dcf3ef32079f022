#include "engine/compile/environment_compiler.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

namespace Lumora::engine {

namespace {

/// Luminance times solid angle over a grid of the equirectangular map.
Distribution2D environmentDistribution(const Environment& environment) {
    constexpr std::uint32_t kWidth = 512, kHeight = 256;
    // Enough lookups a cell that small bright spots of a large image are not passed over.
    std::uint32_t perCell = 2;
    perCell = std::clamp(environment.textures.largestImage() / kWidth, perCell, 8u);
    std::vector<float> cells(static_cast<std::size_t>(kWidth) * kHeight);
    tbb::parallel_for(
        tbb::blocked_range<std::uint32_t>(0, kHeight), [&](const tbb::blocked_range<std::uint32_t>& rows) {
            for (std::uint32_t y = rows.begin(); y != rows.end(); ++y) {
                for (std::uint32_t x = 0; x < kWidth; ++x) {
                    float sum = 0.0f;
                    for (std::uint32_t j = 0; j < perCell; ++j) {
                        for (std::uint32_t i = 0; i < perCell; ++i) {
                            const float n = static_cast<float>(perCell);
                            const Float2 uv = {(static_cast<float>(x) + (static_cast<float>(i) + 0.5f) / n) / kWidth,
                                               (static_cast<float>(y) + (static_cast<float>(j) + 0.5f) / n) / kHeight};
                            const float l = luminance(environment.radiance(mapToDirection(uv)));
                            sum += std::isfinite(l) ? std::max(l, 0.0f) * std::sin(uv.y * kPi) : 0.0f;
                        }
                    }
                    cells[static_cast<std::size_t>(y) * kWidth + x] = sum;
                }
            }
        });
    return Distribution2D(cells, kWidth, kHeight);
}

/// A plain sky: one colour overhead that pales to the horizon, one colour for the ground, and a sun of the given size
/// that reddens as it sinks. A stand-in of few parameters, not a measured model.
void describeDaylight(const NodeTable& nodes, const NodeRecord& node, Environment& e) {
    const Float3 direction = normalize(nodes.vector(node, P_SUN_DIRECTION, {0, 1, 0}));
    if (direction != Float3{}) e.sunDirection = direction;
    const float height = std::clamp(e.sunDirection.y, -1.0f, 1.0f);
    const float day = clamp01(height * 4.0f + 0.2f);
    const Float3 sky = nodes.vector(node, P_SKY_COLOR, {0.05f, 0.3f, 1.0f});
    const Float3 sunset = nodes.vector(node, P_SUNSET_COLOR, {0.6f, 0.12f, 0.02f});
    const float haze = std::clamp((nodes.number(node, P_TURBIDITY, 2.2f) - 2.0f) / 13.0f, 0.0f, 1.0f);
    const Float3 white = splat(0.8f);
    const float low = clamp01(1.0f - height * 3.0f);
    e.zenith = lerp(sky, white, 0.2f + 0.5f * haze) * (e.power * day);
    e.horizon = lerp(white, lerp(white, sunset, 0.5f), low) * (e.power * day);
    e.ground = nodes.vector(node, P_GROUND_COLOR, {}) * (e.power * day);
    if (height > -0.02f) {
        const float angle = 0.267f * std::clamp(nodes.number(node, P_SUN_SIZE, 1.0f), 0.1f, 30.0f) * (kPi / 180.0f);
        e.sunCosine = std::cos(angle);
        const Float3 color = lerp({1.0f, 0.95f, 0.88f}, {1.0f, 0.55f, 0.25f}, low);
        const float irradiance = 3.0f * e.power * clamp01(height * 8.0f + 0.16f) * (1.0f - 0.5f * haze);
        const float half = std::sin(0.5f * angle);
        e.sunRadiance = color * (irradiance / (4.0f * kPi * half * half));
    }
}

}  // namespace

std::shared_ptr<const Environment> compileEnvironment(const NodeTable& nodes, ItemUid uid, ImageStore& images,
                                                      const LogFunction& log) {
    const NodeRecord* node = nodes.find(uid);
    if (!node) return nullptr;
    auto e = std::make_shared<Environment>();
    TextureCompiler textures(nodes, images, e->textures, log);
    textures.withoutPyramids();
    e->power = std::max(nodes.number(*node, P_POWER, 1.0f), 0.0f);
    e->showBackplate = nodes.flag(*node, P_VISIBLE_BACKPLATE, true);
    e->showRefractions = nodes.flag(*node, P_VISIBLE_REFRACTIONS, false);
    e->showReflections = nodes.flag(*node, P_VISIBLE_REFLECTIONS, false);
    if (node->type == NT_ENV_DAYLIGHT) {
        e->kind = Environment::Kind::Daylight;
        e->texture = textures.connected(*node, P_TEXTURE);
        e->constant = false;
        describeDaylight(nodes, *node, *e);
    } else if (node->type == NT_ENV_TEXTURE) {
        e->kind = Environment::Kind::Texture;
        e->texture = textures.onPin(*node, P_TEXTURE, splat(1.0f));
        e->constant = e->textures.isConstant(e->texture);
    } else {
        if (log) log("Environments of node type " + std::to_string(node->type) + " are left out.");
        return nullptr;
    }
    if (!e->constant && nodes.flag(*node, P_IMPORTANCE_SAMPLING, true)) e->distribution = environmentDistribution(*e);
    e->meanLuminance_ = 1.0f;
    return e;
}

}  // namespace Lumora::engine
