// An image in memory as the renderer samples it: in the precision that its file has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// How pixels lie in memory: plain ones channel by channel (Word: 16-bit integers), the others in blocks of four by
/// four that take 8 or 16 bytes.
enum class PixelFormat : std::uint8_t {
    Byte,
    Word,
    Half,
    Float,
    Bc1,   ///< RGB, half a byte a pixel
    Bc3,   ///< RGBA, a byte a pixel
    Bc4,   ///< grey, half a byte a pixel
    Bc5,   ///< grey and alpha, a byte a pixel
    Bc6h,  ///< RGB halves without sign, a byte a pixel
    Bc7,   ///< RGB or RGBA, a byte a pixel, finer than Bc1 and Bc3
};

constexpr bool isBlockFormat(PixelFormat format) {
    return format >= PixelFormat::Bc1;
}
constexpr std::size_t blockBytes(PixelFormat format) {
    return format == PixelFormat::Bc1 || format == PixelFormat::Bc4 ? 8 : 16;
}
constexpr std::size_t compressedBytes(std::uint32_t width, std::uint32_t height, PixelFormat format) {
    return std::size_t{(width + 3) / 4} * ((height + 3) / 4) * blockBytes(format);
}
/// What the pixels of a format decode to before they are linear.
constexpr PixelFormat plainFormat(PixelFormat format) {
    return !isBlockFormat(format) ? format : format == PixelFormat::Bc6h ? PixelFormat::Half : PixelFormat::Byte;
}

/// What lies outside the unit square.
enum class BorderMode : std::uint8_t { Wrap = 0, Black = 1, White = 2, Clamp = 3, Mirror = 4 };

struct Rgba {
    Float3 color;
    float alpha = 1.0f;
};

/// Linear value of each stored value of 8 or 16 bits.
using DecodeTable = std::vector<float>;

/// Pixels, rows from the top, channels interleaved: 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA. Values as stored, aligned
/// to the size of one, and finite. Blocks lie row by row too; what they hold beyond the image's edge counts for
/// nothing.
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
          linear_(linear) {
        if (isBlockFormat(format)) serial_ = nextSerial();
    }

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t channels() const { return channels_; }
    PixelFormat format() const { return format_; }
    std::size_t bytes() const { return bytes_; }
    const void* pixels() const { return pixels_; }
    bool linear() const { return linear_; }  ///< measured values: a texture's gamma does not apply

    /// Another for each image of blocks: decoded blocks are remembered by it. 0: plain pixels.
    std::uint32_t serial() const { return serial_; }

    /// One pixel, undecoded (integers as 0 to 1). Inside the image.
    Rgba texel(std::uint32_t x, std::uint32_t y) const;

private:
    static std::uint32_t nextSerial();

    std::uint32_t width_, height_, channels_;
    std::uint32_t serial_ = 0;
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

/// The table for what a format decodes to; null for floats, which have too many values, and for 16 bits that are
/// linear.
std::shared_ptr<const DecodeTable> makeDecodeTable(PixelFormat format, float gamma);

/// The image in a block format. Colours for Bc1, Bc3, Bc6h and Bc7, grey for Bc4, grey and alpha for Bc5; bytes, or
/// halves for Bc6h, where what is below zero becomes zero. Uses all processors. Throws std::bad_alloc.
ImageTexture compressImage(const ImageTexture& plain, PixelFormat format);
/// The image in bytes or halves, with the same channels; one of plain pixels as it is.
ImageTexture plainImage(const ImageTexture& image);

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
