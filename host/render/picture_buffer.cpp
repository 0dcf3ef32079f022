// VPBuffer and MultipassBitmap: the pictures of a render.
#include <algorithm>
#include <atomic>
#include <vector>

#include "host/sdk/render.h"

namespace host {

struct VPBuffer::Impl {
    Int32 kind = VPBUFFER_RGBA, width = 0, height = 0;
    String name;
    std::vector<Float32> pixels;  // rgba
    std::atomic<bool> displayReferred{false};

    // Cuts the run of pixels to the picture. The first pixel kept, or null when nothing is left; `skipped` counts those
    // that were cut off on the left.
    Float32* clip(Int32 x, Int32 y, Int32* count, Int64* skipped) {
        *skipped = std::max<Int64>(0, -Int64(x));
        const Int64 last = std::min<Int64>(Int64(x) + *count, width);
        const Int64 first = Int64(x) + *skipped;
        if (y < 0 || y >= height || first >= last) return nullptr;
        *count = static_cast<Int32>(last - first);
        return pixels.data() +
               (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(first)) * 4;
    }
};

VPBuffer::VPBuffer(Int32 kind, const String& name, Int32 width, Int32 height) : impl_(std::make_unique<Impl>()) {
    impl_->kind = kind;
    impl_->name = name;
    impl_->width = std::max(0, width);
    impl_->height = std::max(0, height);
    impl_->pixels.resize(static_cast<std::size_t>(impl_->width) * static_cast<std::size_t>(impl_->height) * 4);
}

VPBuffer::~VPBuffer() = default;

Int32 VPBuffer::GetKind() const {
    return impl_->kind;
}

const String& VPBuffer::GetName() const {
    return impl_->name;
}

Int32 VPBuffer::GetBw() const {
    return impl_->width;
}

Int32 VPBuffer::GetBh() const {
    return impl_->height;
}

void VPBuffer::SetLine8(Int32 x, Int32 y, Int32 count, const UChar* rgba) {
    Int64 skipped = 0;
    Float32* to = impl_->clip(x, y, &count, &skipped);
    if (!to) return;
    const UChar* from = rgba + static_cast<std::size_t>(skipped) * 4;
    for (Int32 i = 0; i < count * 4; ++i) to[i] = static_cast<Float32>(from[i]) / 255.0F;
    impl_->displayReferred = true;
}

void VPBuffer::SetLine(Int32 x, Int32 y, Int32 count, const Float32* rgba) {
    Int64 skipped = 0;
    Float32* to = impl_->clip(x, y, &count, &skipped);
    if (!to) return;
    std::copy_n(rgba + static_cast<std::size_t>(skipped) * 4, std::size_t(count) * 4, to);
    impl_->displayReferred = false;
}

void VPBuffer::GetLine(Int32 x, Int32 y, Int32 count, Float32* rgba) const {
    std::fill_n(rgba, std::size_t(std::max(0, count)) * 4, 0.0F);
    Int64 skipped = 0;
    const Float32* from = impl_->clip(x, y, &count, &skipped);
    if (from) std::copy_n(from, std::size_t(count) * 4, rgba + static_cast<std::size_t>(skipped) * 4);
}

Bool VPBuffer::IsDisplayReferred() const {
    return impl_->displayReferred;
}

MultipassBitmap::MultipassBitmap(Int32 width, Int32 height) {
    buffers_.push_back(std::make_unique<VPBuffer>(VPBUFFER_RGBA, "", width, height));
}

VPBuffer* MultipassBitmap::AddPass(const String& name) {
    const VPBuffer& beauty = *GetBeauty();
    return buffers_.emplace_back(std::make_unique<VPBuffer>(VPBUFFER_PASS, name, beauty.GetBw(), beauty.GetBh())).get();
}

VPBuffer* Render::GetBuffer(Int32 kind, Int32 index) const {
    if (!bitmap_) return nullptr;
    for (const auto& buffer : bitmap_->Buffers()) {
        if (buffer->GetKind() == kind && index-- == 0) return buffer.get();
    }
    return nullptr;
}

void Render::SetProgress(Float fraction) const {
    if (report_ && report_->progress) report_->progress(std::clamp(fraction, 0.0, 1.0));
}

void Render::SetStatus(const String& text) const {
    if (report_ && report_->status) report_->status(text);
}

void Render::ImageChanged() const {
    if (report_ && report_->imageChanged) report_->imageChanged();
}

}  // namespace host
