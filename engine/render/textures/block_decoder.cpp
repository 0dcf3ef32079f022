#include "engine/render/textures/block_decoder.h"

#include <cstring>

#include "engine/render/textures/block_format.h"

namespace Lumora::engine {

const BlockSplit kBlockSplits[64] = {
    {0xcccc, 15}, {0x8888, 15}, {0xeeee, 15}, {0xecc8, 15}, {0xc880, 15}, {0xfeec, 15}, {0xfec8, 15}, {0xec80, 15},
    {0xc800, 15}, {0xffec, 15}, {0xfe80, 15}, {0xe800, 15}, {0xffe8, 15}, {0xff00, 15}, {0xfff0, 15}, {0xf000, 15},
    {0xf710, 15}, {0x008e, 2},  {0x7100, 8},  {0x08ce, 2},  {0x008c, 2},  {0x7310, 8},  {0x3100, 8},  {0x8cce, 15},
    {0x088c, 2},  {0x3110, 8},  {0x6666, 2},  {0x366c, 2},  {0x17e8, 8},  {0x0ff0, 8},  {0x718e, 2},  {0x399c, 2},
    {0xaaaa, 15}, {0xf0f0, 15}, {0x5a5a, 6},  {0x33cc, 8},  {0x3c3c, 2},  {0x55aa, 8},  {0x9696, 15}, {0xa55a, 15},
    {0x73ce, 2},  {0x13c8, 8},  {0x324c, 2},  {0x3bdc, 2},  {0x6996, 2},  {0xc33c, 15}, {0x9966, 15}, {0x0660, 6},
    {0x0272, 6},  {0x04e4, 2},  {0x4e40, 6},  {0x2720, 8},  {0xc936, 15}, {0x936c, 15}, {0x39c6, 2},  {0x639c, 2},
    {0x9336, 15}, {0x9cc6, 15}, {0x817e, 15}, {0xe718, 15}, {0xccf0, 15}, {0x0fcc, 2},  {0x7744, 2},  {0xee22, 15},
};

namespace {

std::uint64_t load64(const std::byte* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);  // little endian, as this machine
    return v;
}

/// Whole numbers of `bits` (1 to 4) for all pixels, the first one lowest.
Ints16 unpack(std::uint64_t packed, int bits) {
    const auto low = static_cast<std::uint32_t>(packed & ((std::uint64_t{1} << (8 * bits)) - 1));
    const auto high = static_cast<std::uint32_t>(packed >> (8 * bits));
    using Bits16 = std::uint32_t __attribute__((vector_size(64)));
    const Bits16 words = {low, low, low, low, low, low, low, low, high, high, high, high, high, high, high, high};
    const Bits16 shifts = std::bit_cast<Bits16>(kLanes & 7) * static_cast<std::uint32_t>(bits);
    return std::bit_cast<Ints16>((words >> shifts) & ((1u << bits) - 1u));
}

/// Puts the zero bit back that a pixel's index lacks as its highest.
std::uint64_t withAnchor(std::uint64_t packed, int pixel, int bits) {
    const std::uint64_t below = (std::uint64_t{1} << (bits * pixel + bits - 1)) - 1;
    return (packed & below) | ((packed & ~below) << 1);
}

Ints16 blend(std::int32_t a, std::int32_t b, Ints16 weight) {
    return (a * (64 - weight) + b * weight + 32) >> 6;
}

/// Four bytes a pixel.
void storeBytes(Ints16 r, Ints16 g, Ints16 b, Ints16 a, std::uint8_t* to) {
    const Ints16 pixels = r | (g << 8) | (b << 16) | (a << 24);
    std::memcpy(to, &pixels, sizeof pixels);
}

struct Rgb565 {
    std::int32_t r, g, b;
    explicit Rgb565(std::uint32_t v)
        : r(static_cast<std::int32_t>((v >> 11 << 3) | (v >> 13))),
          g(static_cast<std::int32_t>((v >> 5 & 63) << 2 | (v >> 9 & 3))),
          b(static_cast<std::int32_t>((v & 31) << 3 | (v >> 2 & 7))) {}
};

void decodeColors(std::uint64_t block, Ints16 alpha, std::uint8_t* to) {
    const auto first = static_cast<std::uint32_t>(block & 0xffff),
               second = static_cast<std::uint32_t>(block >> 16 & 0xffff);
    const Rgb565 a(first), b(second);
    const Ints16 index = unpack(block >> 32, 2);
    // Thirds of the way from a to b. The encoder writes no block with first < second, which would have a black.
    const Ints16 thirds = index == 0 ? Ints16{} : index == 1 ? Ints16{} + 3 : index - 1;
    const auto channel = [&](std::int32_t x, std::int32_t y) {
        // Divides by three, rounding: the sums stay below 2¹⁰.
        return ((x * (3 - thirds) + y * thirds + 1) * 21846) >> 16;
    };
    storeBytes(channel(a.r, b.r), channel(a.g, b.g), channel(a.b, b.b), alpha, to);
}

Ints16 decodeRamp(std::uint64_t block) {
    const auto a = static_cast<std::int32_t>(block & 0xff), b = static_cast<std::int32_t>(block >> 8 & 0xff);
    const Ints16 index = unpack(block >> 16, 3);
    if (a > b) {
        const Ints16 sevenths = index == 0 ? Ints16{} : index == 1 ? Ints16{} + 7 : index - 1;
        return ((a * (7 - sevenths) + b * sevenths + 3) * 9363) >> 16;
    }
    // The end points are the same; the last two indices, for 0 and 255, are not written.
    return Ints16{} + a;
}

/// The top bits once more below.
std::int32_t fill8(std::uint32_t v, int bits) {
    return static_cast<std::int32_t>(v << (8 - bits) | v >> (2 * bits - 8));
}

void decodeFine(std::uint64_t low, std::uint64_t high, std::uint8_t* to) {
    BlockBits bits(low, high);
    const int mode = std::countr_zero(low | 0x100u);
    bits.take(mode + 1);
    if (mode == 6) {
        std::int32_t end[4][2];
        for (auto& channel : end) {
            for (std::int32_t& e : channel) e = static_cast<std::int32_t>(bits.take(7) << 1);
        }
        for (int i = 0; i < 2; ++i) {
            const auto lowest = static_cast<std::int32_t>(bits.take(1));
            for (auto& channel : end) channel[i] |= lowest;
        }
        const Ints16 w = blockWeights(unpack(withAnchor(bits.rest(), 0, 4), 4), 15);
        storeBytes(blend(end[0][0], end[0][1], w), blend(end[1][0], end[1][1], w), blend(end[2][0], end[2][1], w),
                   blend(end[3][0], end[3][1], w), to);
    } else if (mode == 1) {
        const BlockSplit split = kBlockSplits[bits.take(6)];
        std::uint32_t end[3][4];
        for (auto& channel : end) {
            for (std::uint32_t& e : channel) e = bits.take(6) << 1;
        }
        for (int i = 0; i < 2; ++i) {
            const std::uint32_t lowest = bits.take(1);
            for (auto& channel : end) {
                channel[2 * i] |= lowest;
                channel[2 * i + 1] |= lowest;
            }
        }
        const std::uint64_t packed = withAnchor(withAnchor(bits.rest(), 0, 3), split.anchor, 3);
        const Ints16 w = blockWeights(unpack(packed, 3), 7);
        const Ints16 second = unpack(split.second, 1);
        Ints16 c[3];
        for (int i = 0; i < 3; ++i) {
            const Ints16 x = blend(fill8(end[i][0], 7), fill8(end[i][1], 7), w),
                         y = blend(fill8(end[i][2], 7), fill8(end[i][3], 7), w);
            c[i] = second != 0 ? y : x;
        }
        storeBytes(c[0], c[1], c[2], Ints16{} + 255, to);
    } else {  // mode 5
        const std::uint32_t rotation = bits.take(2);
        std::int32_t end[4][2];
        for (int c = 0; c < 4; ++c) {
            for (std::int32_t& e : end[c]) {
                e = c < 3 ? fill8(bits.take(7), 7) : static_cast<std::int32_t>(bits.take(8));
            }
        }
        const std::uint64_t rest = bits.rest();
        constexpr std::uint64_t kIndices = (std::uint64_t{1} << 31) - 1;
        const Ints16 w = blockWeights(unpack(withAnchor(rest & kIndices, 0, 2), 2), 3),
                     wa = blockWeights(unpack(withAnchor(rest >> 31, 0, 2), 2), 3);
        Ints16 c[4];
        for (int i = 0; i < 4; ++i) c[i] = blend(end[i][0], end[i][1], i < 3 ? w : wa);
        if (rotation > 0) std::swap(c[3], c[rotation - 1]);
        storeBytes(c[0], c[1], c[2], c[3], to);
    }
}

std::int32_t signExtend(std::uint32_t v, int bits) {
    return static_cast<std::int32_t>(v << (32 - bits)) >> (32 - bits);
}

/// Halves, four a pixel, alpha one.
void decodeHalves(std::uint64_t low, std::uint64_t high, std::uint16_t* to) {
    BlockBits bits(low, high);
    const std::uint32_t mode = bits.take(5);
    // Bits of the first end point, and of what the second lies beyond it; mode 3 has both whole.
    const int precision = mode == 3    ? 10
                          : mode == 7  ? 11
                          : mode == 11 ? 12
                                       : 16,
              delta = mode == 3 ? 10 : 20 - precision;
    std::int32_t end[3][2];
    for (auto& channel : end) channel[0] = static_cast<std::int32_t>(bits.take(10));
    for (auto& channel : end) {
        const std::uint32_t beyond = bits.take(delta);
        for (int bit = precision - 1; bit >= 10; --bit) channel[0] |= static_cast<std::int32_t>(bits.take(1) << bit);
        channel[1] = mode == 3 ? static_cast<std::int32_t>(beyond)
                               : (channel[0] + signExtend(beyond, delta)) & ((1 << precision) - 1);
    }
    const Ints16 w = blockWeights(unpack(withAnchor(bits.rest(), 0, 4), 4), 15);
    Ints16 c[3];
    for (int i = 0; i < 3; ++i) {
        for (std::int32_t& e : end[i]) e = blockHalfEnd(e, precision);
        c[i] = (blend(end[i][0], end[i][1], w) * 31) >> 6;
    }
    constexpr std::int32_t kOne = 0x3c00;
    const Ints16 redGreen = c[0] | (c[1] << 16), blueAlpha = c[2] | (kOne << 16);
    for (int i = 0; i < 16; ++i) {
        const std::int32_t pair[2] = {redGreen[i], blueAlpha[i]};
        std::memcpy(to + 4 * i, pair, sizeof pair);
    }
}

}  // namespace

void decodeBlock(PixelFormat format, const std::byte* block, void* to) {
    auto* bytes = static_cast<std::uint8_t*>(to);
    switch (format) {
        case PixelFormat::Bc1:
            decodeColors(load64(block), Ints16{} + 255, bytes);
            break;
        case PixelFormat::Bc3:
            decodeColors(load64(block + 8), decodeRamp(load64(block)), bytes);
            break;
        case PixelFormat::Bc4: {
            const Ints16 grey = decodeRamp(load64(block));
            storeBytes(grey, grey, grey, Ints16{} + 255, bytes);
            break;
        }
        case PixelFormat::Bc5: {
            const Ints16 grey = decodeRamp(load64(block));
            storeBytes(grey, grey, grey, decodeRamp(load64(block + 8)), bytes);
            break;
        }
        case PixelFormat::Bc6h:
            decodeHalves(load64(block), load64(block + 8), static_cast<std::uint16_t*>(to));
            break;
        default:
            decodeFine(load64(block), load64(block + 8), bytes);
            break;
    }
}

}  // namespace Lumora::engine
