#include "engine/film/develop.h"

#include <tbb/parallel_for.h>

#include "engine/film/hot_pixels.h"
#include "engine/film/post.h"

namespace Lumora::engine {

namespace {

/// An image whose pixels are those of the previous one, or black.
Image startImage(RenderPassId pass, TonemapType type, Vec2<unsigned> size, bool alpha, const Image* previous) {
    Image image;
    image.pass = pass;
    image.type = type;
    image.size = size;
    const std::size_t values = 4 * static_cast<std::size_t>(size.x) * size.y;
    const bool bytes = type == TONEMAP_LDR;
    const bool keep = previous && previous->type == type && previous->size == size &&
                      (bytes ? previous->bytes != nullptr : previous->floats != nullptr);
    if (bytes) {
        image.bytes = keep ? std::make_shared<std::vector<unsigned char>>(*previous->bytes)
                           : std::make_shared<std::vector<unsigned char>>(values);
    } else {
        image.floats = keep ? std::make_shared<std::vector<float>>(*previous->floats)
                            : std::make_shared<std::vector<float>>(values);
    }
    for (std::size_t i = 3; !keep && !alpha && i < values; i += 4) {
        if (bytes) {
            (*image.bytes)[i] = 255;
        } else {
            (*image.floats)[i] = 1.0f;
        }
    }
    return image;
}

/// A run of pixels through the imager into the image.
void writeRun(const Tonemapper& tonemapper, const FilmPixel* from, std::uint32_t count, std::uint32_t x,
              std::uint32_t y, Image& to) {
    const std::size_t at = 4 * (static_cast<std::size_t>(y) * to.size.x + x);
    switch (to.type) {
        case TONEMAP_LDR:
            return tonemapper.toBytes(from, count, x, y, to.bytes->data() + at);
        case TONEMAP_HDR:
            return tonemapper.toFloats(from, count, x, y, to.floats->data() + at);
        default:
            return tonemapper.toLinear(from, count, to.floats->data() + at);
    }
}

/// Denoised colours in place of the film's, of which the share `blend` stays.
void takeColours(const Picture& from, float blend, Picture& to) {
    if (from.width != to.width || from.height != to.height) return;
    const TileRect& r = from.region;
    for (std::uint32_t y = r.y; y < r.y + r.height; ++y) {
        for (std::uint32_t x = r.x; x < r.x + r.width; ++x) {
            const Float3 clean = from.row(y)[x].color, noisy = to.row(y)[x].color;
            to.row(y)[x].color = blend > 0.0f && isFinite(noisy) ? lerp(clean, noisy, blend) : clean;
        }
    }
}

}  // namespace

bool isDeveloped(RenderPassId pass) {
    return pass == RP_BEAUTY || pass == RP_DENOISED || pass == RP_POST;
}

Image developPicture(const FilmBuffer& film, const DevelopSettings& settings, RenderPassId pass, TonemapType type,
                     const Image* previous, const Picture* denoised) {
    const Tonemapper tonemapper(settings.imager, settings.film, settings.alpha);
    Image image = startImage(pass, type, {film.width(), film.height()}, settings.alpha != AlphaUse::None, previous);
    const bool hotPixels = settings.imager.hotPixels < 1.0f && type != TONEMAP_HDR_LINEAR;
    const bool whole = hotPixels || settings.post.on || pass != RP_BEAUTY;
    Picture picture;
    TileMask mask;
    if (whole) {
        resolvePicture(film, picture, mask);
        if (pass == RP_DENOISED && denoised) takeColours(*denoised, clamp01(settings.imager.denoiser.blend), picture);
        if (hotPixels) removeHotPixels(picture, settings.imager.hotPixels);
        if (pass == RP_POST) {
            keepScattered(picture, settings.post);
        } else if (settings.post.on) {
            scatterLight(picture, settings.post);
        }
    }
    tbb::parallel_for(0u, film.tileCount(), [&](std::uint32_t t) {
        const TileRect r = film.tile(t);
        FilmPixel tile[FilmBuffer::kTile * FilmBuffer::kTile];
        if (whole ? !mask[t] : !film.resolveInto(t, tile, r.width)) return;
        for (std::uint32_t y = 0; y < r.height; ++y)
            writeRun(tonemapper, whole ? picture.row(r.y + y) + r.x : tile + y * r.width, r.width, r.x, r.y + y, image);
    });
    return image;
}

}  // namespace Lumora::engine
