#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <new>

#include "engine/compile/texture_compiler.h"
#include "engine/render/textures/noise.h"
#include "engine/render/textures/pixel_format.h"

namespace Lumora::engine {

namespace {

/// A point of the unit square that stands for a pixel's share of it.
TextureContext bakePoint(float u, float v, float halfWidth, float halfHeight) {
    TextureContext at;
    for (int set = 0; set < 3; ++set) {
        at.uv[set] = {u, v, 0.0f};
        at.uvAxis[set][0] = {halfWidth, 0.0f};
        at.uvAxis[set][1] = {0.0f, halfHeight};
    }
    // Projections see the square as one of edge two around the origin, which they map onto itself.
    at.worldPosition = at.objectPosition = {2.0f * u - 1.0f, 2.0f * v - 1.0f, 0.0f};
    at.worldNormal = at.objectNormal = at.shadingNormal = {0, 0, 1};
    at.worldAxis[0] = at.objectAxis[0] = {2.0f * halfWidth, 0, 0};
    at.worldAxis[1] = at.objectAxis[1] = {0, 2.0f * halfHeight, 0};
    at.view = {0, 0, -1};
    return at;
}

}  // namespace

ImageTexturePtr bakeTexture(const TextureTable& table, TextureId id, const BakeSize& size, PixelFormat format,
                            bool grey, float gamma) {
    const std::size_t pixels = static_cast<std::size_t>(size.width) * size.height;
    // Each sample is averaged over its share of the pixel already: a few do, and a build must not take minutes.
    constexpr std::size_t kMostLookups = 16u << 20;
    const auto allowed = static_cast<std::uint32_t>(std::max<std::size_t>(kMostLookups / pixels, 1));
    const auto side = static_cast<std::uint32_t>(
        std::max(std::sqrt(static_cast<float>(std::min({size.samples, allowed, 64u}))), 1.0f));
    const std::uint32_t channels = grey ? 1 : 3;
    const std::size_t bytes = pixels * channels * channelBytes(format);
    std::shared_ptr<std::byte[]> memory;
    try {
        memory = std::make_shared_for_overwrite<std::byte[]>(bytes);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    const float stepX = 1.0f / static_cast<float>(size.width), stepY = 1.0f / static_cast<float>(size.height);
    const float share = 1.0f / static_cast<float>(side);
    withFormat(format, [&](auto kind) {
        auto* out = reinterpret_cast<typename decltype(kind)::Stored*>(memory.get());
        tbb::parallel_for(std::uint32_t{0}, size.height, [&](std::uint32_t y) {
            for (std::uint32_t x = 0; x < size.width; ++x) {
                Float3 sum{};
                for (std::uint32_t s = 0; s < side * side; ++s) {
                    const std::uint32_t bits = hashBits(y * size.width + x, s);
                    const float dx = (static_cast<float>(s % side) + unitFloat(bits)) * share;
                    const float dy = (static_cast<float>(s / side) + unitFloat(hashBits(bits))) * share;
                    const float u = (static_cast<float>(x) + dx) * stepX,
                                v = 1.0f - (static_cast<float>(y) + dy) * stepY;
                    const Float3 c = table.color(id, bakePoint(u, v, 0.5f * stepX * share, 0.5f * stepY * share));
                    if (isFinite(c)) sum += c;
                }
                sum *= share * share;
                const float c[3] = {grey ? luminance(sum) : sum.x, sum.y, sum.z};
                for (std::uint32_t k = 0; k < channels; ++k) {
                    out[(static_cast<std::size_t>(y) * size.width + x) * channels + k] =
                        decltype(kind)::store(encodeGamma(c[k], gamma));
                }
            }
        });
    });
    const void* first = memory.get();
    return std::make_shared<const ImageTexture>(size.width, size.height, channels, format, first, bytes,
                                                std::move(memory));
}

}  // namespace Lumora::engine
