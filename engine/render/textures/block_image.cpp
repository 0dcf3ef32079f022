#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <cstring>

#include "engine/render/textures/block_decoder.h"
#include "engine/render/textures/block_encoder.h"
#include "engine/render/textures/pixel_format.h"
#include "engine/render/textures/pixel_memory.h"

namespace Lumora::engine {

namespace {

std::uint32_t blocksAlong(std::uint32_t pixels) {
    return (pixels + 3) / 4;
}

/// A half's bits as a number, which grows with it. Below zero there is nothing.
float halfBits(std::uint16_t half) {
    return half & 0x8000u ? 0.0f : static_cast<float>(half);
}

/// Calls `f` with the ranges of rows of blocks, on all processors.
template <typename F>
void forBlockRows(std::uint32_t width, std::uint32_t height, F&& f) {
    const std::uint32_t grain = std::max(1u, 512u / blocksAlong(width));
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, blocksAlong(height), grain), [&](const auto& range) {
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) f(y);
    });
}

template <typename Stored, typename Load>
void compressRow(const ImageTexture& plain, PixelFormat format, std::uint32_t row, std::byte* to, Load&& load) {
    const auto* pixels = static_cast<const Stored*>(plain.pixels());
    const std::uint32_t channels = plain.channels(), width = plain.width();
    BlockPixels block;
    block.channels = static_cast<int>(channels);
    for (std::uint32_t x = 0; x < blocksAlong(width); ++x) {
        alignas(64) float values[4][16];
        for (std::uint32_t i = 0; i < 16; ++i) {
            // Beyond the edge its pixels are repeated.
            const std::size_t px = std::min(4 * x + i % 4, width - 1),
                              py = std::min(4 * row + i / 4, plain.height() - 1);
            const Stored* p = pixels + (py * width + px) * channels;
            for (std::uint32_t c = 0; c < channels; ++c) values[c][i] = load(p[c]);
        }
        for (std::uint32_t c = 0; c < channels; ++c) std::memcpy(&block.c[c], values[c], sizeof values[c]);
        // Grey in a format of colours.
        if (channels < 3 && format == PixelFormat::Bc6h) block.c[1] = block.c[2] = block.c[0];
        encodeBlock(format, block, to + x * blockBytes(format));
    }
}

template <typename Stored>
void plainRow(const ImageTexture& image, std::uint32_t row, Stored* to) {
    const std::uint32_t width = image.width(), channels = image.channels(), perRow = blocksAlong(width);
    const auto* blocks = static_cast<const std::byte*>(image.pixels());
    const std::uint32_t rows = std::min(4u, image.height() - 4 * row);
    for (std::uint32_t x = 0; x < perRow; ++x) {
        alignas(64) Stored decoded[64];
        decodeBlock(image.format(), blocks + (std::size_t{row} * perRow + x) * blockBytes(image.format()), decoded);
        const std::uint32_t columns = std::min(4u, width - 4 * x);
        for (std::uint32_t j = 0; j < rows; ++j) {
            Stored* out = to + ((4 * std::size_t{row} + j) * width + 4 * x) * channels;
            for (std::uint32_t i = 0; i < columns; ++i) {
                const Stored* p = decoded + (j * 4 + i) * 4;
                for (std::uint32_t c = 0; c < channels; ++c) {
                    const bool alpha = channels % 2 == 0 && c == channels - 1;
                    out[i * channels + c] = p[alpha ? 3 : c];
                }
            }
        }
    }
}

}  // namespace

ImageTexture compressImage(const ImageTexture& plain, PixelFormat format) {
    const std::uint32_t width = plain.width(), height = plain.height();
    const std::size_t rowBytes = blocksAlong(width) * blockBytes(format), bytes = rowBytes * blocksAlong(height);
    std::shared_ptr<std::byte[]> memory = allocatePixels(bytes);
    forBlockRows(width, height, [&](std::uint32_t y) {
        std::byte* to = memory.get() + y * rowBytes;
        if (format == PixelFormat::Bc6h) {
            compressRow<std::uint16_t>(plain, format, y, to, halfBits);
        } else {
            compressRow<std::uint8_t>(plain, format, y, to, [](std::uint8_t v) { return static_cast<float>(v); });
        }
    });
    const void* blocks = memory.get();
    return {width, height, plain.channels(), format, blocks, bytes, std::move(memory), plain.linear()};
}

ImageTexture plainImage(const ImageTexture& image) {
    if (!isBlockFormat(image.format())) return image;
    const PixelFormat format = plainFormat(image.format());
    const std::uint32_t width = image.width(), height = image.height(), channels = image.channels();
    const std::size_t bytes = std::size_t{width} * height * channels * channelBytes(format);
    std::shared_ptr<std::byte[]> memory = allocatePixels(bytes);
    forBlockRows(width, height, [&](std::uint32_t y) {
        if (format == PixelFormat::Half) {
            plainRow(image, y, reinterpret_cast<std::uint16_t*>(memory.get()));
        } else {
            plainRow(image, y, reinterpret_cast<std::uint8_t*>(memory.get()));
        }
    });
    const void* pixels = memory.get();
    return {width, height, channels, format, pixels, bytes, std::move(memory), image.linear()};
}

}  // namespace Lumora::engine
