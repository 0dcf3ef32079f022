// One pixel as the filters work with it, and what reads it from a level of an image.
#pragma once

#include <bit>

#include "engine/render/textures/block_decoder.h"
#include "engine/render/textures/pixel_format.h"

namespace Lumora::engine {

/// Red, green, blue and alpha, side by side in one register.
using Texel = float __attribute__((vector_size(16)));

inline Texel splatTexel(float v) {
    return Texel{v, v, v, v};
}
inline Texel mix(Texel a, Texel b, float t) {
    return a + (b - a) * splatTexel(t);
}
inline Rgba rgbaOf(Texel t) {
    return {{t[0], t[1], t[2]}, t[3]};
}

/// Reads linear pixels of a level whose pixels lie side by side.
template <typename Format>
class PlainReader {
public:
    using Stored = typename Format::Stored;

    PlainReader(const ImageLookup& lookup, const ImageTexture& level)
        : pixels_(static_cast<const Stored*>(level.pixels())),
          channels_(level.channels()),
          rowLength_(std::size_t{level.width()} * level.channels()),
          table_(lookup.table ? lookup.table->data() : nullptr),
          gamma_(lookup.gamma) {}

    Texel at(int x, int y) const {
        const Stored* p = place(x, y);
        if (channels_ == 4) {
            if constexpr (std::is_same_v<Format, FloatFormat>) {
                if (gamma_ == 1.0f) return Texel{p[0], p[1], p[2], p[3]};
            }
#if defined(__F16C__)
            if constexpr (std::is_same_v<Format, HalfFormat>) {
                if (!table_) return _mm_cvtph_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
            }
#endif
            return Texel{decode(p[0]), decode(p[1]), decode(p[2]), Format::load(p[3])};
        }
        if (channels_ == 3) return Texel{decode(p[0]), decode(p[1]), decode(p[2]), 1.0f};
        const float grey = decode(p[0]);
        return Texel{grey, grey, grey, channels_ == 2 ? Format::load(p[1]) : 1.0f};
    }
    /// Calls for the pixels from x0 to x1 of the row.
    void prefetch(int x0, int x1, int y) const {
        const auto* p = reinterpret_cast<const char*>(place(x0, y));
        const auto* end = reinterpret_cast<const char*>(place(x1 + 1, y));
        for (; p < end; p += 64) __builtin_prefetch(p);
    }

private:
    const Stored* place(int x, int y) const {
        return pixels_ + static_cast<std::size_t>(y) * rowLength_ + static_cast<std::size_t>(x) * channels_;
    }
    float decode(Stored v) const {
        if constexpr (std::is_integral_v<Stored>) {
            if (table_) return table_[v];
        }
        const float f = Format::load(v);
        return gamma_ == 1.0f ? f : decodeGamma(f, gamma_);
    }

    const Stored* pixels_;
    std::uint32_t channels_;
    std::size_t rowLength_;
    const float* table_;
    float gamma_;
};

/// Decoded blocks that a thread has looked at lately. A place in it is found by the image and the block's number, so
/// that what another image left there is never taken.
struct BlockCache {
    static constexpr std::size_t kPlaces = 128, kBytes = 128;
    std::uint64_t keys[kPlaces]{};  ///< no image has the serial 0
    alignas(64) std::byte pixels[kPlaces][kBytes];
};
BlockCache& threadBlockCache();

/// Reads linear pixels of a level of blocks: `Format` is what they decode to.
template <typename Format>
class BlockReader {
public:
    using Stored = typename Format::Stored;

    BlockReader(const ImageLookup& lookup, const ImageTexture& level)
        : cache_(threadBlockCache()),
          blocks_(static_cast<const std::byte*>(level.pixels())),
          format_(level.format()),
          alpha_(level.channels() % 2 == 0),
          perRow_((level.width() + 3) / 4),
          serial_(std::uint64_t{level.serial()} << 32),
          table_(lookup.table ? lookup.table->data() : nullptr),
          gamma_(lookup.gamma) {}

    Texel at(int x, int y) const {
        const Stored* p = pixels(static_cast<std::uint32_t>(y >> 2) * perRow_ + static_cast<std::uint32_t>(x >> 2)) +
                          (static_cast<std::uint32_t>(y & 3) * 4 + static_cast<std::uint32_t>(x & 3)) * 4;
        return Texel{decode(p[0]), decode(p[1]), decode(p[2]), alpha_ ? Format::load(p[3]) : 1.0f};
    }
    void prefetch(int x0, int x1, int y) const {
        const std::size_t bytes = blockBytes(format_), row = static_cast<std::size_t>(y >> 2) * perRow_;
        const std::byte* p = blocks_ + (row + static_cast<std::size_t>(x0 >> 2)) * bytes;
        const std::byte* end = blocks_ + (row + static_cast<std::size_t>(x1 >> 2) + 1) * bytes;
        for (; p < end; p += 64) __builtin_prefetch(p);
    }

private:
    const Stored* pixels(std::uint32_t block) const {
        if (block == last_) return pixels_;
        const std::uint64_t key = serial_ | block;
        const std::size_t place = (key * 0x9e3779b97f4a7c15u) >> (64 - std::countr_zero(BlockCache::kPlaces));
        std::byte* held = cache_.pixels[place];
        if (cache_.keys[place] != key) {
            decodeBlock(format_, blocks_ + block * blockBytes(format_), held);
            cache_.keys[place] = key;
        }
        last_ = block;
        return pixels_ = reinterpret_cast<const Stored*>(held);
    }
    float decode(Stored v) const {
        if constexpr (std::is_integral_v<Stored>) {
            if (table_) return table_[v];
        }
        const float f = Format::load(v);
        return gamma_ == 1.0f ? f : decodeGamma(f, gamma_);
    }

    BlockCache& cache_;
    const std::byte* blocks_;
    PixelFormat format_;
    bool alpha_;
    std::uint32_t perRow_;
    std::uint64_t serial_;
    const float* table_;
    float gamma_;
    mutable std::uint32_t last_ = ~0u;
    mutable const Stored* pixels_ = nullptr;
};

/// Calls `f` with a reader of the level.
template <typename F>
auto withReader(const ImageLookup& lookup, const ImageTexture& level, F&& f) {
    if (isBlockFormat(level.format())) {
        return level.format() == PixelFormat::Bc6h ? f(BlockReader<HalfFormat>(lookup, level))
                                                   : f(BlockReader<ByteFormat>(lookup, level));
    }
    return withFormat(level.format(), [&](auto format) { return f(PlainReader<decltype(format)>(lookup, level)); });
}

}  // namespace Lumora::engine
