#include "engine/film/tonemap.h"

#include <cstring>

#include "engine/render/image_texture.h"
#include "engine/render/sampler.h"

namespace Lumora::engine {

namespace {
constexpr int kTableSize = 2048;

/// Fills the blocks of a tile with their first pixels.
template <typename T>
void spread(T* tile, const TileRect& r, std::uint32_t filmWidth, std::uint32_t block) {
    const std::size_t pitch = 4 * static_cast<std::size_t>(filmWidth);
    for (std::uint32_t y = 0; y < r.height; ++y) {
        T* row = tile + y * pitch;
        if (y % block != 0) {
            std::copy_n(row - pitch, 4 * static_cast<std::size_t>(r.width), row);
            continue;
        }
        for (std::uint32_t x = 0; x < r.width; ++x) {
            if (x % block != 0)
                std::copy_n(row + 4 * static_cast<std::size_t>(x - 1), 4, row + 4 * static_cast<std::size_t>(x));
        }
    }
}

}  // namespace

bool knownResponse(int id) {
    return id >= 400 && id <= 403;
}

Tonemapper::Tonemapper(const Imager& imager, const Film& film, bool alphaChannel)
    : imager_(imager),
      width_(static_cast<float>(film.width)),
      height_(static_cast<float>(film.height)),
      alphaChannel_(alphaChannel) {
    // The white point is what shall come out neutral, at unchanged luminance.
    const Float3 w = {std::max(imager.whitePoint.x, 1e-3f), std::max(imager.whitePoint.y, 1e-3f),
                      std::max(imager.whitePoint.z, 1e-3f)};
    const float l = luminance(w);
    gain_ = Float3{l / w.x, l / w.y, l / w.z} * std::max(imager.exposure, 0.0f);
    table_.resize(kTableSize + 2);
    for (int i = 0; i <= kTableSize; ++i) {
        const float root = static_cast<float>(i) / kTableSize;
        table_[static_cast<std::size_t>(i)] = encode(root * root);
    }
    table_[kTableSize + 1] = table_[kTableSize];
}

Float3 Tonemapper::develop(Float3 color, std::uint32_t x, std::uint32_t y) const {
    Float3 c = color * gain_;
    if (imager_.vignetting > 0.0f) {
        // Natural light fall-off: the fourth power of the cosine, for a field of 90 degrees across the diagonal.
        const float dx = (2.0f * (static_cast<float>(x) + 0.5f) - width_) / std::hypot(width_, height_);
        const float dy = (2.0f * (static_cast<float>(y) + 0.5f) - height_) / std::hypot(width_, height_);
        const float cos2 = 1.0f / (1.0f + dx * dx + dy * dy);
        c *= lerp(1.0f, cos2 * cos2, clamp01(imager_.vignetting));
    }
    if (imager_.saturation != 1.0f) {
        c = lerp(splat(luminance(c)), c, std::max(imager_.saturation, 0.0f));
        c = {std::max(c.x, 0.0f), std::max(c.y, 0.0f), std::max(c.z, 0.0f)};
    }
    if (imager_.highlightCompression > 0.0f) {
        // Shoulder of Reinhard et al. (2002), mixed in by the amount.
        const float m = maxComponent(c);
        if (m > 0.0f) c *= lerp(1.0f, 1.0f / (1.0f + m), clamp01(imager_.highlightCompression));
    }
    return c;
}

float Tonemapper::encode(float linear) const {
    float v = std::max(linear, 0.0f);
    switch (imager_.response) {
        case 400:
            break;
        case 402:
            v = std::pow(v, 1.0f / 1.8f);
            break;
        case 403:
            v = std::pow(v, 1.0f / 2.2f);
            break;
        default:
            v = linearToSrgb(std::min(v, 1.0f));
            break;
    }
    if (imager_.gamma != 1.0f && imager_.gamma > 0.0f) v = std::pow(v, 1.0f / imager_.gamma);
    return clamp01(v);
}

float Tonemapper::encoded(float linear) const {
    const float at = std::sqrt(clamp01(linear)) * kTableSize;
    const auto cell = static_cast<std::size_t>(at);
    return lerp(table_[cell], table_[cell + 1], at - static_cast<float>(cell));
}

void Tonemapper::writeBytes(unsigned char* to, const FilmPixel& p, std::uint32_t x, std::uint32_t y) const {
    const float alpha = clamp01(p.alpha);
    Float3 c = p.color;
    if (alphaChannel_ && !imager_.premultipliedAlpha && alpha > 0.0f) c *= 1.0f / alpha;
    c = develop(c, x, y);
    const float in[3] = {encoded(c.x), encoded(c.y), encoded(c.z)};
    for (int i = 0; i < 3; ++i) {
        float round = 0.5f;
        if (imager_.dither) {
            round = sobol::toUnit(sobol::hash(sobol::hash(x, y), static_cast<std::uint32_t>(i)));
        }
        to[i] = static_cast<unsigned char>(std::min(in[i] * 255.0f + round, 255.0f));
    }
    to[3] = static_cast<unsigned char>((alphaChannel_ ? alpha : 1.0f) * 255.0f + 0.5f);
}

void Tonemapper::writeFloats(float* to, const FilmPixel& p, std::uint32_t x, std::uint32_t y, TonemapType type) const {
    const float alpha = clamp01(p.alpha);
    Float3 c = p.color;
    if (alphaChannel_ && !imager_.premultipliedAlpha && alpha > 0.0f) c *= 1.0f / alpha;
    if (type == TONEMAP_HDR) c = develop(c, x, y);
    to[0] = c.x;
    to[1] = c.y;
    to[2] = c.z;
    to[3] = alphaChannel_ ? alpha : 1.0f;
}

Image Tonemapper::picture(const FilmBuffer& film, TonemapType type, const Image* previous) const {
    Image image;
    image.pass = RP_BEAUTY;
    image.type = type;
    image.size = {film.width(), film.height()};
    const std::size_t values = 4 * static_cast<std::size_t>(film.width()) * film.height();
    const bool bytes = type == TONEMAP_LDR;
    const bool keep = previous && previous->type == type && previous->size == image.size &&
                      (bytes ? previous->bytes != nullptr : previous->floats != nullptr);
    if (bytes) {
        image.bytes = keep ? std::make_shared<std::vector<unsigned char>>(*previous->bytes)
                           : std::make_shared<std::vector<unsigned char>>(values);
    } else {
        image.floats = keep ? std::make_shared<std::vector<float>>(*previous->floats)
                            : std::make_shared<std::vector<float>>(values);
    }
    if (!keep && !alphaChannel_) {
        for (std::size_t i = 3; i < values; i += 4) {
            if (bytes) {
                (*image.bytes)[i] = 255;
            } else {
                (*image.floats)[i] = 1.0f;
            }
        }
    }
    std::vector<FilmPixel> pixels;
    for (std::uint32_t t = 0; t < film.tileCount(); ++t) {
        const std::uint32_t step = film.resolve(t, pixels);
        if (step == 0) continue;
        const TileRect r = film.tile(t);
        const auto at = [&](std::uint32_t x, std::uint32_t y) {
            return 4 * (static_cast<std::size_t>(r.y + y) * film.width() + r.x + x);
        };
        for (std::uint32_t y = 0; y < r.height; y += step) {
            for (std::uint32_t x = 0; x < r.width; x += step) {
                const FilmPixel& p = pixels[static_cast<std::size_t>(y) * r.width + x];
                if (bytes) {
                    writeBytes(&(*image.bytes)[at(x, y)], p, r.x + x, r.y + y);
                } else {
                    writeFloats(&(*image.floats)[at(x, y)], p, r.x + x, r.y + y, type);
                }
            }
        }
        if (step > 1) {
            if (bytes) {
                spread(image.bytes->data() + at(0, 0), r, film.width(), step);
            } else {
                spread(image.floats->data() + at(0, 0), r, film.width(), step);
            }
        }
    }
    return image;
}

}  // namespace Lumora::engine
