#include "engine/film/hot_pixels.h"

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

namespace Lumora::engine {

namespace {

struct Replacement {
    std::size_t at;
    Float3 color;
};

/// Mean of the neighbours that do not outshine `limit`.
Float3 meanBelow(const Picture& f, std::uint32_t x, std::uint32_t y, float limit, Float3 fallback) {
    Float3 sum;
    float count = 0.0f;
    for (std::uint32_t ny = y - 1; ny != y + 2; ++ny) {
        for (std::uint32_t nx = x - 1; nx != x + 2; ++nx) {
            const Float3 c = f.row(ny)[nx].color;
            if ((nx == x && ny == y) || !(maxComponent(c) <= limit)) continue;
            sum += c;
            count += 1.0f;
        }
    }
    return count > 0.0f ? sum * (1.0f / count) : fallback;
}

}  // namespace

void removeHotPixels(Picture& f, float threshold) {
    if (!(threshold < 1.0f) || f.region.width < 3 || f.region.height < 3) return;
    const float t = std::max(threshold, 0.0f), factor = 1.0f + 4.0f * t / (1.0f - t);
    const std::uint32_t left = f.region.x, width = f.region.width;
    tbb::enumerable_thread_specific<std::vector<Replacement>> found;
    using Range = tbb::blocked_range<std::uint32_t>;
    tbb::parallel_for(Range(f.region.y + 1, f.region.y + f.region.height - 1, 16), [&](const Range& range) {
        std::vector<float> planes(4 * static_cast<std::size_t>(width));
        float* light[3] = {&planes[0], &planes[width], &planes[2 * static_cast<std::size_t>(width)]};
        float* count = &planes[3 * static_cast<std::size_t>(width)];
        const auto load = [&](std::uint32_t y, float* to) {
            const FilmPixel* row = f.row(y) + left;
            for (std::uint32_t x = 0; x < width; ++x) to[x] = maxComponent(row[x].color);
        };
        load(range.begin() - 1, light[1]);
        load(range.begin(), light[2]);
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) {
            std::swap(light[0], light[1]);
            std::swap(light[1], light[2]);
            load(y + 1, light[2]);
            for (std::uint32_t x = 1; x + 1 < width; ++x) {
                const float limit = light[1][x];
                float n = 0.0f;
                for (int r = 0; r < 3; ++r) {
                    for (int d = -1; d <= 1; ++d) {
                        if (r == 1 && d == 0) continue;
                        n += light[r][static_cast<int>(x) + d] * factor >= limit ? 1.0f : 0.0f;
                    }
                }
                count[x] = n;
            }
            for (std::uint32_t x = 1; x + 1 < width; ++x) {
                if (count[x] > 1.0f || !(light[1][x] > 0.0f)) continue;
                const Float3 old = f.row(y)[left + x].color;
                found.local().push_back({static_cast<std::size_t>(y) * f.width + left + x,
                                         meanBelow(f, left + x, y, light[1][x] / factor, old)});
            }
        }
    });
    for (const std::vector<Replacement>& list : found) {
        for (const Replacement& r : list) f.pixels[r.at].color = r.color;
    }
}

}  // namespace Lumora::engine
