// Decoding and encoding of image files; the only place of the host that talks to the image library.
#pragma once

#include <string>
#include <vector>

#include "host/sdk/bitmap.h"

namespace host {

inline constexpr Int32 kMaxImageSide = 65536;
inline constexpr UInt64 kMaxImageBytes = UInt64(1) << 32;

struct PixelLayout {
    Int32 channels;
    Int32 bytes;  ///< of one channel: 1, 2 or 4 (float)
};
PixelLayout layoutOf(PixelFormat format);
inline UInt64 imageBytes(Int32 width, Int32 height, PixelFormat format) {
    const PixelLayout layout = layoutOf(format);
    return UInt64(static_cast<UInt32>(width)) * static_cast<UInt32>(height) *
           static_cast<UInt32>(layout.channels * layout.bytes);
}

struct ImageData {
    Int32 width = 0, height = 0;
    PixelFormat format = PixelFormat::Rgba8;
    std::vector<UChar> pixels;  ///< row by row from the top, channels interleaved
};

struct ImageStatus {
    ImageResult result = ImageResult::Ok;
    std::string error;  ///< one sentence that names the file; empty when all is well
    Bool ok() const { return result == ImageResult::Ok; }
};

/// Readers that stood the test of time; what they read is decoded in this process, all others in a child.
Bool isTrustedImage(const Filename& file);

/// Decodes in this process, whatever the format. Alpha stands as in the file.
ImageStatus decodeImage(const Filename& file, ImageData* image);
/// Decodes in a child process with limits on memory and time.
ImageStatus decodeImageInChild(const Filename& file, ImageData* image);
/// Encodes by the file's suffix and writes the file whole or not at all.
ImageStatus encodeImage(const Filename& file, const ImageData& image);

}  // namespace host
