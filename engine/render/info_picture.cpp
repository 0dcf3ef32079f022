#include "engine/render/info_picture.h"

#include "engine/render/adaptive.h"
#include "engine/render/info_channel.h"

namespace Lumora::engine {

namespace {

constexpr std::size_t kChannels = 4;

/// A buffer for the picture, with what `previous` shows or empty.
template <typename T>
std::shared_ptr<std::vector<T>> buffer(const std::shared_ptr<std::vector<T>>& previous, std::size_t pixels, T opaque) {
    if (previous && previous->size() == pixels * kChannels) return std::make_shared<std::vector<T>>(*previous);
    auto made = std::make_shared<std::vector<T>>(pixels * kChannels);
    for (std::size_t i = kChannels - 1; i < made->size(); i += kChannels) (*made)[i] = opaque;
    return made;
}

unsigned char toByte(float v) {
    return static_cast<unsigned char>(clamp01(v) * 255.0f + 0.5f);
}

/// An empty picture of the film's size, or what `previous` shows.
Image startPicture(const FilmBuffer& film, bool alphaChannel, TonemapType type, const Image* previous) {
    Image image;
    image.type = type;
    image.size = {film.width(), film.height()};
    const std::size_t pixels = static_cast<std::size_t>(film.width()) * film.height();
    const Image* old = previous && previous->type == type && previous->size == image.size ? previous : nullptr;
    if (type == TONEMAP_LDR) {
        image.bytes = buffer<unsigned char>(old ? old->bytes : nullptr, pixels, alphaChannel ? 0 : 255);
    } else {
        image.floats = buffer<float>(old ? old->floats : nullptr, pixels, alphaChannel ? 0.0f : 1.0f);
    }
    return image;
}

/// Writes one pixel; `shown` is what bytes hold.
void write(Image& image, std::uint32_t x, std::uint32_t y, Float3 value, Float3 shown, float alpha) {
    const std::size_t at = kChannels * (static_cast<std::size_t>(y) * image.size.x + x);
    if (image.bytes) {
        const unsigned char out[] = {toByte(shown.x), toByte(shown.y), toByte(shown.z), toByte(alpha)};
        std::copy_n(out, kChannels, image.bytes->begin() + static_cast<std::ptrdiff_t>(at));
    } else {
        const float out[] = {value.x, value.y, value.z, alpha};
        std::copy_n(out, kChannels, image.floats->begin() + static_cast<std::ptrdiff_t>(at));
    }
}

}  // namespace

Image infoPicture(const FilmBuffer& film, const InfoSettings& settings, bool alphaChannel, TonemapType type,
                  const Image* previous) {
    Image image = startPicture(film, alphaChannel, type, previous);
    std::vector<FilmPixel> tile(static_cast<std::size_t>(FilmBuffer::kTile) * FilmBuffer::kTile);
    for (std::uint32_t t = 0; t < film.tileCount(); ++t) {
        if (!film.resolveInto(t, tile.data(), FilmBuffer::kTile)) continue;
        const TileRect r = film.tile(t);
        for (std::uint32_t y = 0; y < r.height; ++y) {
            for (std::uint32_t x = 0; x < r.width; ++x) {
                const FilmPixel& p = tile[static_cast<std::size_t>(y) * FilmBuffer::kTile + x];
                const float alpha = alphaChannel ? clamp01(p.alpha) : 1.0f;
                // Where part of the pixel is empty, the value is that of the rest.
                const Float3 value = alpha > 0.0f ? p.color * (1.0f / alpha) : Float3{};
                write(image, r.x + x, r.y + y, value, alpha > 0.0f ? shownInfo(settings, value) : Float3{}, alpha);
            }
        }
    }
    return image;
}

Image noisePicture(const FilmBuffer& film, const Adaptive& settings, TonemapType type, const Image* previous) {
    Image image = startPicture(film, false, type, previous);
    const float white = 2.0f * std::max(settings.threshold, 1e-3f);
    TileSums sums(TileRect{}, false);
    for (std::uint32_t t = 0; t < film.tileCount(); ++t) {
        if (!film.copySums(t, sums) || sums.guides.empty()) continue;
        const TileRect r = film.tile(t);
        for (std::uint32_t y = 0; y < r.height; ++y) {
            for (std::uint32_t x = 0; x < r.width; ++x) {
                const std::size_t i = static_cast<std::size_t>(y) * r.width + x;
                const FilmSum& sum = sums.pixels[i];
                const float noise = std::min(
                    pixelNoise(settings, luminance(sum.mean().color), sums.guides[i].squares, sum.samples), 1.0f);
                write(image, r.x + x, r.y + y, splat(noise), splat(noise / white), 1.0f);
            }
        }
    }
    return image;
}

}  // namespace Lumora::engine
