// An image in memory as the renderer samples it: in the precision that its file has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "engine/render/vec.h"

namespace Lumora::engine {

enum class PixelFormat : std::uint8_t { Byte, Word, Half, Float };  ///< Word: 16-bit integers

/// What lies outside the unit square.
enum class BorderMode : std::uint8_t { Wrap = 0, Black = 1, White = 2, Clamp = 3, Mirror = 4 };

struct Rgba {
    Float3 color;
    float alpha = 1.0f;
};

/// Pixels, rows from the top, channels interleaved: 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA. Values as stored, aligned
/// to the size of one, and finite.
class ImageTexture {
public:
    /// The memory belongs to `owner`.
    ImageTexture(std::uint32_t width, std::uint32_t height, std::uint32_t channels, PixelFormat format,
                 const void* pixels, std::size_t bytes, std::shared_ptr<const void> owner)
        : width_(width),
          height_(height),
          channels_(channels),
          format_(format),
          pixels_(pixels),
          bytes_(bytes),
          owner_(std::move(owner)) {}

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t channels() const { return channels_; }
    PixelFormat format() const { return format_; }
    std::size_t bytes() const { return bytes_; }

    /// One pixel, undecoded (integers as 0 to 1). Inside the image.
    Rgba texel(std::uint32_t x, std::uint32_t y) const;

    /// Bilinear lookup at (u, v), v upwards: (0, 0) is the lower left corner. `decode` linearises a stored channel
    /// value before it is filtered; byteTable, when not null, does so for 8-bit values.
    Rgba sample(float u, float v, BorderMode border, const float* byteTable, float gamma) const;

    /// Mean of the decoded colours over a coarse grid of texels, as a weight for light sampling.
    Float3 meanColor(const float* byteTable, float gamma) const;

private:
    Rgba decoded(int x, int y, BorderMode border, const float* byteTable, float gamma) const;

    std::uint32_t width_, height_, channels_;
    PixelFormat format_;
    const void* pixels_;
    std::size_t bytes_;
    std::shared_ptr<const void> owner_;
};

using ImageTexturePtr = std::shared_ptr<const ImageTexture>;

/// Exact inverse of the sRGB transfer function.
float srgbToLinear(float v);
float linearToSrgb(float v);
/// Linearises a stored value. Gamma 2.2 is what files in sRGB are labelled with, so it takes the exact curve.
float decodeGamma(float v, float gamma);

}  // namespace Lumora::engine
