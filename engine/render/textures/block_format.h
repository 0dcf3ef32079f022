// The bits of block-compressed pixels: blocks of four by four, each two end points of a line of colours and for every
// pixel a place on it. The formats are those that Khronos publishes as S3TC, RGTC and BPTC.
//
// The decoder reads what the encoder here writes: of BC7 the modes 1 (two lines of RGB), 5 (a line of RGB, and one for
// another channel) and 6 (a line of RGBA), of BC6H the modes with one line, unsigned.
#pragma once

#include <cstdint>

#include "engine/render/textures/wide.h"

namespace Lumora::engine {

/// Shares of 64 that the second end point has at an index of 0 to `last` (3, 7 or 15), for all pixels.
inline Ints16 blockWeights(Ints16 index, int last) {
    const int reciprocal = 65536 / last + 1;
    return ((index * 64 + last / 2) * reciprocal) >> 16;
}

/// The end point of a line of halves as it is interpolated, from its `precision` bits. 31 of 64 of it is a half's bits.
inline std::int32_t blockHalfEnd(std::int32_t v, int precision) {
    if (precision >= 15 || v == 0) return v;
    if (v == (1 << precision) - 1) return 0xffff;
    return ((v << 15) + 0x4000) >> (precision - 1);
}

/// The first 64 ways to split a block in two, as bits, pixel 0 lowest; and the pixel of the second part whose index
/// lacks its highest bit, which is zero. The first part's is pixel 0.
struct BlockSplit {
    std::uint16_t second;
    std::uint8_t anchor;
};
extern const BlockSplit kBlockSplits[64];

/// 128 bits, written and read from the lowest.
class BlockBits {
public:
    BlockBits() = default;
    BlockBits(std::uint64_t low, std::uint64_t high) : low_(low), high_(high) {}

    void put(std::uint64_t value, int count) {
        if (at_ < 64) {
            low_ |= value << at_;
            if (at_ + count > 64) high_ |= value >> (64 - at_);
        } else {
            high_ |= value << (at_ - 64);
        }
        at_ += count;
    }
    std::uint32_t take(int count) {
        std::uint64_t v = at_ < 64 ? low_ >> at_ : high_ >> (at_ - 64);
        if (at_ < 64 && at_ + count > 64) v |= high_ << (64 - at_);
        at_ += count;
        return static_cast<std::uint32_t>(v & ((std::uint64_t{1} << count) - 1));
    }
    /// All that is left, 64 bits at most.
    std::uint64_t rest() const {
        return at_ < 64 ? (low_ >> at_) | (at_ ? high_ << (64 - at_) : 0) : high_ >> (at_ - 64);
    }
    std::uint64_t low() const { return low_; }
    std::uint64_t high() const { return high_; }

private:
    std::uint64_t low_ = 0, high_ = 0;
    int at_ = 0;
};

}  // namespace Lumora::engine
