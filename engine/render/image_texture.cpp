#include "engine/render/image_texture.h"

#include <atomic>
#include <cstring>

#include "engine/render/textures/pixel_format.h"

namespace Lumora::engine {

float srgbToLinear(float v) {
    return v <= 0.04045f ? v / 12.92f : std::pow((v + 0.055f) / 1.055f, 2.4f);
}

float linearToSrgb(float v) {
    return v <= 0.0031308f ? v * 12.92f : 1.055f * std::pow(v, 1.0f / 2.4f) - 0.055f;
}

namespace {
bool isSrgb(float gamma) {
    return std::abs(gamma - 2.2f) < 1e-4f;
}
}  // namespace

float decodeGamma(float v, float gamma) {
    if (gamma == 1.0f || v <= 0.0f) return v;
    return isSrgb(gamma) ? srgbToLinear(v) : std::pow(v, gamma);
}

float encodeGamma(float v, float gamma) {
    if (gamma == 1.0f || v <= 0.0f) return v;
    return isSrgb(gamma) ? linearToSrgb(v) : std::pow(v, 1.0f / gamma);
}

std::uint32_t ImageTexture::nextSerial() {
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

Rgba ImageTexture::texel(std::uint32_t x, std::uint32_t y) const {
    if (isBlockFormat(format_)) {
        ImageLookup lookup;
        lookup.image = ImageTexturePtr(std::shared_ptr<const void>(), this);
        return pixelOf(lookup, std::uint64_t{y} * width_ + x);
    }
    const std::size_t first = (static_cast<std::size_t>(y) * width_ + x) * channels_;
    float c[4];
    withFormat(format_, [&](auto format) {
        const auto* p = static_cast<const typename decltype(format)::Stored*>(pixels_) + first;
        for (std::uint32_t i = 0; i < channels_; ++i) c[i] = format.load(p[i]);
    });
    switch (channels_) {
        case 1:
            return {splat(c[0]), 1.0f};
        case 2:
            return {splat(c[0]), c[1]};
        case 3:
            return {{c[0], c[1], c[2]}, 1.0f};
        default:
            return {{c[0], c[1], c[2]}, c[3]};
    }
}

std::shared_ptr<const DecodeTable> makeDecodeTable(PixelFormat format, float gamma) {
    format = plainFormat(format);
    if (format == PixelFormat::Float || (format != PixelFormat::Byte && gamma == 1.0f)) return nullptr;
    auto table = std::make_shared<DecodeTable>(format == PixelFormat::Byte ? 256 : 65536);
    withFormat(format, [&](auto kind) {
        using Stored = typename decltype(kind)::Stored;
        for (std::size_t i = 0; i < table->size(); ++i) {
            (*table)[i] = decodeGamma(kind.load(static_cast<Stored>(i)), gamma);
        }
    });
    return table;
}

std::size_t ImagePyramid::bytes() const {
    std::size_t sum = 0;
    for (const ImageTexture& level : levels) sum += level.bytes();
    return sum;
}

}  // namespace Lumora::engine
