// BaseBitmap: an image in memory.
#include "host/sdk/bitmap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "host/io/image_codec.h"

namespace host {

struct BaseBitmap::Impl {
    ImageData image;
    std::string error;

    ImageResult finish(ImageStatus status) {
        error = std::move(status.error);
        if (!status.ok()) image = {};
        return status.result;
    }
    Bool contains(Int32 x, Int32 y) const { return x >= 0 && y >= 0 && x < image.width && y < image.height; }
    std::size_t offset(Int32 x, Int32 y) const {
        const PixelLayout layout = layoutOf(image.format);
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(x)) *
               static_cast<std::size_t>(layout.channels * layout.bytes);
    }
};

BaseBitmap::BaseBitmap() : impl_(std::make_unique<Impl>()) {}
BaseBitmap::~BaseBitmap() = default;
BaseBitmap::BaseBitmap(BaseBitmap&& other) noexcept : impl_(std::move(other.impl_)) {
    other.impl_ = std::make_unique<Impl>();
}
BaseBitmap& BaseBitmap::operator=(BaseBitmap&& other) noexcept {
    std::swap(impl_, other.impl_);
    return *this;
}

ImageResult BaseBitmap::Init(Int32 width, Int32 height, PixelFormat format) {
    impl_->image = {};
    if (width < 1 || height < 1 || width > kMaxImageSide || height > kMaxImageSide ||
        imageBytes(width, height, format) > kMaxImageBytes) {
        return impl_->finish({ImageResult::TooLarge, "A picture of " + std::to_string(width) + " x " +
                                                         std::to_string(height) + " cannot be made."});
    }
    try {
        impl_->image.pixels.assign(imageBytes(width, height, format), 0);
    } catch (const std::bad_alloc&) {
        return impl_->finish({ImageResult::NoMemory, "There is not enough memory for the picture."});
    }
    impl_->image.width = width;
    impl_->image.height = height;
    impl_->image.format = format;
    return impl_->finish({});
}

ImageResult BaseBitmap::Init(const Filename& file) {
    impl_->image = {};
    return impl_->finish(isTrustedImage(file) ? decodeImage(file, &impl_->image)
                                              : decodeImageInChild(file, &impl_->image));
}

ImageResult BaseBitmap::Save(const Filename& file) const {
    ImageStatus status;
    if (impl_->image.width == 0) {
        status = {ImageResult::WriteFailed, file.str() + ": the picture is empty"};
    } else {
        status = encodeImage(file, impl_->image);
    }
    impl_->error = status.error;
    return status.result;
}

String BaseBitmap::GetErrorText() const {
    return String(impl_->error);
}

Int32 BaseBitmap::GetWidth() const {
    return impl_->image.width;
}

Int32 BaseBitmap::GetHeight() const {
    return impl_->image.height;
}

PixelFormat BaseBitmap::GetFormat() const {
    return impl_->image.format;
}

Int32 BaseBitmap::GetChannels() const {
    return layoutOf(impl_->image.format).channels;
}

void BaseBitmap::GetPixel(Int32 x, Int32 y, Int32* r, Int32* g, Int32* b) const {
    Int32 value[3] = {0, 0, 0};
    if (impl_->contains(x, y)) {
        const PixelLayout layout = layoutOf(impl_->image.format);
        const UChar* at = impl_->image.pixels.data() + impl_->offset(x, y);
        for (Int32 i = 0; i < 3; ++i) {
            const UChar* channel = at + (layout.channels >= 3 ? i : 0) * layout.bytes;
            if (layout.bytes == 1) {
                value[i] = *channel;
            } else if (layout.bytes == 2) {
                std::uint16_t word = 0;
                std::memcpy(&word, channel, sizeof word);
                value[i] = (word + 128) / 257;
            } else {
                float real = 0;
                std::memcpy(&real, channel, sizeof real);
                value[i] = real > 0 ? static_cast<Int32>(std::lround(std::min(real, 1.0F) * 255)) : 0;
            }
        }
    }
    *r = value[0];
    *g = value[1];
    *b = value[2];
}

void BaseBitmap::SetPixel(Int32 x, Int32 y, Int32 r, Int32 g, Int32 b) {
    if (!impl_->contains(x, y)) return;
    const PixelLayout layout = layoutOf(impl_->image.format);
    UChar* at = impl_->image.pixels.data() + impl_->offset(x, y);
    // Grey takes the luma of Rec. 709; an alpha channel becomes opaque.
    const Int32 grey = static_cast<Int32>(std::lround(0.2126 * r + 0.7152 * g + 0.0722 * b));
    const Int32 colour[4] = {layout.channels >= 3 ? r : grey, g, b, 255};
    for (Int32 i = 0; i < layout.channels; ++i) {
        const Int32 value = std::clamp(colour[i], 0, 255);
        UChar* channel = at + i * layout.bytes;
        if (layout.bytes == 1) {
            *channel = static_cast<UChar>(value);
        } else if (layout.bytes == 2) {
            const auto word = static_cast<std::uint16_t>(value * 257);
            std::memcpy(channel, &word, sizeof word);
        } else {
            const float real = static_cast<float>(value) / 255.0F;
            std::memcpy(channel, &real, sizeof real);
        }
    }
}

UChar* BaseBitmap::Row(Int32 y) {
    return impl_->contains(0, y) ? impl_->image.pixels.data() + impl_->offset(0, y) : nullptr;
}

const UChar* BaseBitmap::Row(Int32 y) const {
    return impl_->contains(0, y) ? impl_->image.pixels.data() + impl_->offset(0, y) : nullptr;
}

}  // namespace host
