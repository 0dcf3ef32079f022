#include "engine/render/environment.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "engine/render/fast_math.h"
#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

constexpr std::uint32_t kWidest = 4096;

/// Cells of the distribution and lookups along a cell's edge, by the largest image of the textures: every pixel counts.
struct Grid {
    std::uint32_t width = 256, lookups = 1;
};

/// `largest`: edge of the largest image, `looked`: of what is looked at in its place.
Grid gridFor(std::uint32_t largest, std::uint32_t looked) {
    Grid g;
    if (largest == 0) return g;
    g.width = largest <= 512 ? 512 : largest <= 1024 ? 1024 : largest < 8192 ? 2048 : kWidest;
    g.lookups = std::clamp((looked + g.width - 1) / g.width, 1u, 8u);
    return g;
}

/// The textures with images no larger than the grid: their pixels are means of the originals', and a look at each of
/// these tells as much as a look at every pixel of a map of a hundred million.
TextureTable reduced(TextureTable textures) {
    for (std::size_t i = 0; i < textures.images.size(); ++i) {
        const ImageLookup& lookup = textures.images[i];
        if (!lookup.image || lookup.image->width() <= kWidest) continue;
        const float gamma = lookup.image->linear() ? 1.0f : lookup.gamma;
        ImageTexturePtr image = lookup.image;
        while (image->width() > kWidest) image = std::make_shared<ImageTexture>(halfImage(*image, gamma));
        textures.images.edit(i).image = std::move(image);
    }
    return textures;
}

/// A little of each cell for its neighbours: between the middles of two pixels an image is a blend of both, so what
/// lies beside a very bright pixel is bright, too.
void spread(std::vector<float>& cells, std::uint32_t width, std::uint32_t height, float share) {
    const auto blur = [share](float before, float here, float after) {
        return here * (1.0f - 2.0f * share) + (before + after) * share;
    };
    tbb::parallel_for(0u, height, [&](std::uint32_t y) {
        float* row = &cells[std::size_t{y} * width];
        const float first = row[0];
        float before = row[width - 1];
        for (std::uint32_t x = 0; x < width; ++x) {
            const float here = row[x];
            row[x] = blur(before, here, x + 1 < width ? row[x + 1] : first);
            before = here;
        }
    });
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, width, 64), [&](const auto& columns) {
        std::vector<float> before(columns.size());
        for (std::uint32_t y = 0; y < height; ++y) {
            float* row = &cells[std::size_t{y} * width + columns.begin()];
            for (std::size_t x = 0; x < columns.size(); ++x) {
                const float here = row[x];
                row[x] = blur(y > 0 ? before[x] : here, here, y + 1 < height ? row[x + width] : here);
                before[x] = here;
            }
        }
    });
}

}  // namespace

Float2 directionToMap(Float3 d) {
    // The angle from straight up by both sides of its triangle: an arc cosine would lose what is close to the poles.
    const float across = std::sqrt(d.x * d.x + d.z * d.z);
    const float u = 0.5f + angleOf(-d.z, d.x) * (0.5f * kInvPi);
    return {u >= 1.0f ? u - 1.0f : u, 1.0f - angleOf(d.y, across) * kInvPi};
}

Float3 mapToDirection(Float2 uv) {
    const float theta = (1.0f - uv.y) * kPi, phi = (uv.x - 0.5f) * (2.0f * kPi), s = std::sin(theta);
    return {s * std::sin(phi), std::cos(theta), -s * std::cos(phi)};
}

Float3 EnvironmentSource::at(Float3 direction, Float2 uv, const TextureTable& table) const {
    Float3 r = sky ? sky->radiance(direction) : Float3{};
    if (texture == kNoTexture) return r;
    if (table.isConstant(texture)) return r + table.nodes[texture].value;
    TextureContext at;
    at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, std::clamp(uv.y, poleMargin, 1.0f - poleMargin), 0.0f};
    at.worldPosition = at.objectPosition = at.worldNormal = at.objectNormal = at.shadingNormal = direction;
    at.view = direction;
    at.within = true;
    const Float3 t = table.color(texture, at);
    return r + Float3{std::max(t.x, 0.0f), std::max(t.y, 0.0f), std::max(t.z, 0.0f)};
}

void EnvironmentSource::measure() {
    if (!sky && textures.isConstant(texture)) {
        meanLuminance = texture == kNoTexture ? 0.0f : std::max(luminance(textures.nodes[texture].value), 0.0f);
        return;
    }
    const std::uint32_t largest = textures.largestImage();
    if (largest > 1) poleMargin = 1.0f / static_cast<float>(largest);
    const TextureTable table = largest > kWidest ? reduced(textures) : textures;
    Grid grid = gridFor(largest, table.largestImage());
    if (largest == 0 && texture != kNoTexture) grid.lookups = 2;
    const std::uint32_t width = grid.width, height = width / 2, n = grid.lookups;
    std::vector<float> cells(static_cast<std::size_t>(width) * height);
    std::vector<Float2> turns(static_cast<std::size_t>(width) * n);  // of the columns
    const auto steps = static_cast<float>(turns.size());
    for (std::size_t i = 0; i < turns.size(); ++i) {
        const float phi = ((static_cast<float>(i) + 0.5f) / steps - 0.5f) * (2.0f * kPi);
        turns[i] = {std::sin(phi), std::cos(phi)};
    }
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, height), [&](const auto& rows) {
        for (std::uint32_t y = rows.begin(); y != rows.end(); ++y) {
            float* row = &cells[static_cast<std::size_t>(y) * width];
            for (std::uint32_t line = y * n; line < (y + 1) * n; ++line) {
                const float v = (static_cast<float>(line) + 0.5f) / static_cast<float>(height * n);
                const float theta = (1.0f - v) * kPi, sine = std::sin(theta), cosine = std::cos(theta);
                for (std::size_t i = 0; i < turns.size(); ++i) {
                    const Float2 uv = {(static_cast<float>(i) + 0.5f) / steps, v};
                    const float l = luminance(at({sine * turns[i].x, cosine, -sine * turns[i].y}, uv, table));
                    row[i / n] += std::isfinite(l) ? std::max(l, 0.0f) * sine : 0.0f;
                }
            }
        }
    });
    double sum = 0.0;
    for (const float c : cells) sum += static_cast<double>(c);
    // Each cell has its share of the map, which is two pi by pi; the sphere has four pi.
    meanLuminance = static_cast<float>(sum / (static_cast<double>(n) * n * width * height) * 0.5 * kPi);
    if (largest > 0) spread(cells, width, height, n == 1 ? 0.125f : 0.0625f);
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
