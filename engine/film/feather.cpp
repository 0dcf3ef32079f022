#include "engine/film/feather.h"

#include <algorithm>
#include <type_traits>

namespace Lumora::engine {

void fadeEdge(Image& image, const Image& base, const TileRect& region, unsigned width) {
    if (base.type != image.type || base.size != image.size) return;
    const auto fade = [&](auto& pixels, const auto& under, float rounding) {
        using T = std::decay_t<decltype(pixels[0])>;
        for (std::uint32_t y = 0; y < region.height; ++y) {
            for (std::uint32_t x = 0; x < region.width; ++x) {
                // The film's own edge is no seam.
                const auto gap = [](std::uint32_t at, std::uint32_t start, std::uint32_t size, std::uint32_t film) {
                    return std::min(start == 0 ? ~0u : at, start + size >= film ? ~0u : size - 1 - at);
                };
                const std::uint32_t edge = std::min(gap(x, region.x, region.width, image.size.x),
                                                    gap(y, region.y, region.height, image.size.y));
                if (edge >= width) continue;
                const float share = (static_cast<float>(edge) + 1.0f) / (static_cast<float>(width) + 1.0f);
                const std::size_t at = 4 * (static_cast<std::size_t>(region.y + y) * image.size.x + region.x + x);
                for (std::size_t i = at; i < at + 4; ++i) {
                    pixels[i] = static_cast<T>(
                        lerp(static_cast<float>(under[i]), static_cast<float>(pixels[i]), share) + rounding);
                }
            }
        }
    };
    if (image.bytes && base.bytes) fade(*image.bytes, *base.bytes, 0.5f);
    if (image.floats && base.floats) fade(*image.floats, *base.floats, 0.0f);
}

}  // namespace Lumora::engine
