#include "engine/compile/height_filter.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

namespace Lumora::engine {

namespace {

using Pixel = std::array<float, 4>;

/// Where a pixel beyond the end of a line is taken from.
std::size_t inside(std::ptrdiff_t i, std::ptrdiff_t size, bool wrap) {
    if (wrap) return static_cast<std::size_t>(((i % size) + size) % size);
    return static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(i, 0, size - 1));
}

/// A line with weights radius - |distance|: two runs of `radius` pixels, each kept as a sum that moves along.
void smoothLine(std::vector<Pixel>& line, std::vector<Pixel>& between, int radius, bool wrap) {
    const auto size = static_cast<std::ptrdiff_t>(line.size());
    // The first run looks ahead, the second back, so that nothing moves. It needs the sums before the line's start.
    between.resize(line.size() + static_cast<std::size_t>(radius) - 1);
    const auto at = [&](std::ptrdiff_t i) -> const Pixel& { return line[inside(i, size, wrap)]; };
    const float share = 1.0f / static_cast<float>(radius);
    for (int c = 0; c < 4; ++c) {
        const auto k = static_cast<std::size_t>(c);
        double sum = 0.0;
        for (std::ptrdiff_t i = 1 - radius; i < 1; ++i) sum += static_cast<double>(at(i)[k]);
        for (std::size_t i = 0; i < between.size(); ++i) {
            between[i][k] = static_cast<float>(sum) * share;
            const auto low = static_cast<std::ptrdiff_t>(i) + 1 - radius;
            sum += static_cast<double>(at(low + radius)[k]) - static_cast<double>(at(low)[k]);
        }
        sum = 0.0;
        for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(radius); ++i) {
            sum += static_cast<double>(between[i][k]);
        }
        for (std::size_t i = 0; i < line.size(); ++i) {
            sum += static_cast<double>(between[i + static_cast<std::size_t>(radius) - 1][k]);
            line[i][k] = static_cast<float>(sum) * share;
            sum -= static_cast<double>(between[i][k]);
        }
    }
}

}  // namespace

ImageLookup smoothed(const ImageLookup& lookup, int radius) {
    if (radius <= 1 || !lookup.image) return lookup;
    const std::size_t width = lookup.image->width(), height = lookup.image->height();
    const bool wrap = lookup.border == BorderMode::Wrap;
    auto pixels = std::make_shared<std::vector<Pixel>>(width * height);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, height, 16), [&](const auto& rows) {
        std::vector<Pixel> line(width), between;
        for (std::size_t y = rows.begin(); y != rows.end(); ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                const Rgba p = pixelOf(lookup, y * width + x);
                line[x] = {p.color.x, p.color.y, p.color.z, p.alpha};
            }
            smoothLine(line, between, radius, wrap);
            std::copy(line.begin(), line.end(), pixels->begin() + static_cast<std::ptrdiff_t>(y * width));
        }
    });
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, width, 16), [&](const auto& columns) {
        std::vector<Pixel> line(height), between;
        for (std::size_t x = columns.begin(); x != columns.end(); ++x) {
            for (std::size_t y = 0; y < height; ++y) line[y] = (*pixels)[y * width + x];
            smoothLine(line, between, radius, wrap);
            for (std::size_t y = 0; y < height; ++y) (*pixels)[y * width + x] = line[y];
        }
    });
    ImageLookup out;
    const void* first = pixels->data();
    const std::size_t bytes = pixels->size() * sizeof(Pixel);
    out.image = std::make_shared<const ImageTexture>(lookup.image->width(), lookup.image->height(), 4,
                                                     PixelFormat::Float, first, bytes, std::move(pixels));
    out.border = lookup.border;
    return out;
}

TextureTable smoothed(const TextureTable& table, int radius) {
    TextureTable out = table;
    if (radius <= 1) return out;
    for (std::size_t i = 0; i < out.images.size(); ++i) out.images.edit(i) = smoothed(table.images[i], radius);
    return out;
}

}  // namespace Lumora::engine
