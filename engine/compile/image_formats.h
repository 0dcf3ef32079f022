// The image formats that the engine decodes itself, and what their decoders share.
//
// A file comes from a stranger. It is read into memory, recognised by its first bytes, and its headers are checked
// against its length before memory is taken for its pixels. The decoders work on memory only, write nothing to the
// program's output and throw ImageFault with the reason for what they refuse.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// Limits of an image: pixels along an edge and bytes in memory. Larger ones are refused before memory is taken.
inline constexpr int kMaxImageEdge = 65536;
inline constexpr std::uint64_t kMaxImageBytes = 4ull << 30;

using FileBytes = std::span<const unsigned char>;

/// Why an image is left out, as the end of a sentence that names it.
struct ImageFault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A share of the memory that the machine has left, for as long as it lives; images that are read at the same time see
/// each other's. Throws ImageFault when there is not enough.
class MemoryShare {
public:
    explicit MemoryShare(std::uint64_t bytes);
    ~MemoryShare();
    MemoryShare(const MemoryShare&) = delete;
    MemoryShare& operator=(const MemoryShare&) = delete;

private:
    std::uint64_t bytes_;
};

/// Memory of the machine.
std::uint64_t machineMemoryBytes();

struct DecodedImage {
    std::uint32_t width = 0, height = 0, channels = 0;
    PixelFormat format = PixelFormat::Byte;
    bool linear = false;                  ///< measured values: no gamma applies
    std::shared_ptr<std::byte[]> pixels;  ///< rows from the top, channels interleaved
    std::unique_ptr<MemoryShare> share;   ///< until the image is finished
    std::string note;                     ///< what is odd about an image that is shown all the same

    std::uint64_t bytes() const;
    std::uint64_t rowBytes() const { return bytes() / height; }
    /// Takes memory for width, height, channels and format. `workspace`: what the decoder needs beside, in bytes.
    void allocate(std::uint64_t workspace = 0);
};

/// Throws when an image of that size is not to be read.
void checkImageSize(std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerPixel);

/// What a file's header says of its pixels.
struct ImageOutline {
    std::uint64_t width = 0, height = 0, channels = 0;
    PixelFormat format = PixelFormat::Byte;
};

struct ImageDecoder {
    const char* name;
    DecodedImage (*decode)(FileBytes file);
    /// From the beginning of a file. Throws ImageFault when it does not tell. Null: such images are small.
    ImageOutline (*outline)(FileBytes head) = nullptr;
};
/// The decoder for a file that begins with these bytes; null for a format that the engine does not read.
const ImageDecoder* imageDecoder(FileBytes file);

/// Grey, RGB, with alpha or not; 8 and 16 bits. Alpha is unassociated. Palettes and smaller depths are expanded.
DecodedImage decodePng(FileBytes file);
ImageOutline outlinePng(FileBytes head);
/// Baseline and progressive; grey, RGB, and CMYK as RGB.
DecodedImage decodeJpeg(FileBytes file);
ImageOutline outlineJpeg(FileBytes head);
/// Flat images with scan lines or tiles, the first part of several. Half stays half.
DecodedImage decodeExr(FileBytes file);
ImageOutline outlineExr(FileBytes head);
/// Radiance pictures (RGBE).
DecodedImage decodeHdr(FileBytes file);
ImageOutline outlineHdr(FileBytes head);

}  // namespace Lumora::engine
