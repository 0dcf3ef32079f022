// Images of the host.
#pragma once

#include <memory>
#include <vector>

#include "host/sdk/string.h"
#include "host/sdk/vector.h"

namespace host {

enum class PixelFormat : Int32 { Rgb8, Rgba8, Rgb16, Rgba16, RgbFloat, RgbaFloat, Gray8, GrayFloat };

enum class ImageResult : Int32 { Ok = 0, NotFound, WrongFormat, TooLarge, NoMemory, WriteFailed };

class HOST_API BaseBitmap {
public:
    BaseBitmap();
    ~BaseBitmap();
    BaseBitmap(BaseBitmap&&) noexcept;
    BaseBitmap& operator=(BaseBitmap&&) noexcept;

    /// Black, transparent. Width and height 1 to 65536, at most 2^32 bytes.
    ImageResult Init(Int32 width, Int32 height, PixelFormat format = PixelFormat::Rgba8);
    /// Any format that the image library reads. Untrusted files are decoded in a child process.
    ImageResult Init(const Filename& file);
    /// Format by the suffix: png, jpg, exr, tif. Written whole or not at all. Float values are stored as they stand
    /// (linear) in exr and float tif; 8-bit files get the bytes as they stand.
    ImageResult Save(const Filename& file) const;
    String GetErrorText() const;  ///< of the last Init or Save

    Int32 GetWidth() const;
    Int32 GetHeight() const;
    PixelFormat GetFormat() const;
    Int32 GetChannels() const;

    void GetPixel(Int32 x, Int32 y, Int32* r, Int32* g, Int32* b) const;  ///< 0 to 255
    void SetPixel(Int32 x, Int32 y, Int32 r, Int32 g, Int32 b);
    /// Row y as stored.
    UChar* Row(Int32 y);
    const UChar* Row(Int32 y) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace host
