// An image in memory as the renderer samples it: in the precision that its file has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

enum class PixelFormat : std::uint8_t { Byte, Word, Half, Float };  ///< Word: 16-bit integers

/// What lies outside the unit square.
enum class BorderMode : std::uint8_t { Wrap = 0, Black = 1, White = 2, Clamp = 3, Mirror = 4 };

struct Rgba {
    Float3 color;
    float alpha = 1.0f;
};

/// Linear value of each stored value of 8 or 16 bits.
using DecodeTable = std::vector<float>;

/// Pixels, rows from the top, channels interleaved: 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA. Values as stored, aligned
/// to the size of one, and finite.
class ImageTexture {
public:
    /// The memory belongs to `owner`.
    ImageTexture(std::uint32_t width, std::uint32_t height, std::uint32_t channels, PixelFormat format,
                 const void* pixels, std::size_t bytes, std::shared_ptr<const void> owner, bool linear = false)
        : width_(width),
          height_(height),
          channels_(channels),
          format_(format),
          pixels_(pixels),
          bytes_(bytes),
          owner_(std::move(owner)),
          linear_(linear) {}

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t channels() const { return channels_; }
    PixelFormat format() const { return format_; }
    std::size_t bytes() const { return bytes_; }
    const void* pixels() const { return pixels_; }
    bool linear() const { return linear_; }  ///< measured values: a texture's gamma does not apply

    /// One pixel, undecoded (integers as 0 to 1). Inside the image.
    Rgba texel(std::uint32_t x, std::uint32_t y) const;

private:
    std::uint32_t width_, height_, channels_;
    PixelFormat format_;
    const void* pixels_;
    std::size_t bytes_;
    std::shared_ptr<const void> owner_;
    bool linear_;
};

using ImageTexturePtr = std::shared_ptr<const ImageTexture>;

/// The coarser levels of an image, each half as large as the one before, down to a single pixel: means of the linear
/// values, stored as the image stores its own. `levels[0]` is half the image.
struct ImagePyramid {
    std::vector<ImageTexture> levels;
    std::size_t bytes() const;
};

using ImagePyramidPtr = std::shared_ptr<const ImagePyramid>;

/// The table for a format; null for floats, which have too many values, and for 16 bits that are linear.
std::shared_ptr<const DecodeTable> makeDecodeTable(PixelFormat format, float gamma);

/// Makes the pyramid of an image whose values are linearised with `gamma`. Uses all processors. Throws std::bad_alloc.
ImagePyramidPtr makePyramid(const ImageTexture& image, float gamma);
/// The image at half its size: the mean of the linear values, whatever its size (odd sizes are weighted exactly).
ImageTexture halfImage(const ImageTexture& image, float gamma);

/// How a texture reads its image.
struct ImageLookup {
    ImageTexturePtr image;
    ImagePyramidPtr pyramid;                   ///< null: the image itself is all that is looked at
    std::shared_ptr<const DecodeTable> table;  ///< of the image's format; null: `gamma` decodes
    float gamma = 1.0f;
    BorderMode border = BorderMode::Wrap;
};

/// The image around (u, v), v upwards: (0, 0) is the lower left corner. Colours are linearised before they are
/// averaged. Without a footprint the four nearest pixels are blended. The two half axes are of an ellipse in texture
/// coordinates; what it covers is averaged (Heckbert, "Fundamentals of Texture Mapping and Image Warping", 1989) on the
/// level on which its shorter axis is a pixel or two wide, so that a view along the surface stays sharp across.
Rgba sampleImage(const ImageLookup& lookup, Float2 uv, Float2 axis0, Float2 axis1);

/// The pixel of that index, row by row from the top; indices beyond the last start over.
Rgba pixelOf(const ImageLookup& lookup, std::uint64_t index);

/// Exact inverse of the sRGB transfer function.
float srgbToLinear(float v);
float linearToSrgb(float v);
/// Linearises a stored value. Gamma 2.2 is what files in sRGB are labelled with, so it takes the exact curve.
float decodeGamma(float v, float gamma);
/// The other way round.
float encodeGamma(float v, float gamma);

}  // namespace Lumora::engine
