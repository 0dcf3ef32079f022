#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <array>
#include <map>
#include <mutex>
#include <new>

#include "engine/render/textures/pixel_format.h"
#include "engine/render/textures/pixel_memory.h"

namespace Lumora::engine {

namespace {

/// The pixels of the larger level that make one of the smaller: two, or three where the size is odd, with their shares.
struct Taps {
    std::uint32_t first = 0, count = 0;
    float weight[3]{};
};

Taps tapsFor(std::uint32_t i, std::uint32_t from, std::uint32_t to) {
    if (from == to) return {i, 1, {1.0f, 0.0f, 0.0f}};
    if (from == 2 * to) return {2 * i, 2, {0.5f, 0.5f, 0.0f}};
    const float n = static_cast<float>(from), k = static_cast<float>(i), m = static_cast<float>(to);
    return {2 * i, 3, {(m - k) / n, m / n, (k + 1.0f) / n}};
}

/// From linear values to integers of 8 or 16 bits by a table of 65536 linear values: for bytes in the darkest part a
/// byte is forty steps of it wide. Tables are kept, since most images have the same gamma.
template <typename Stored>
using EncodeTable = std::vector<Stored>;

template <typename Format>
std::shared_ptr<const EncodeTable<typename Format::Stored>> encodeTable(float gamma) {
    using Table = EncodeTable<typename Format::Stored>;
    static std::mutex mutex;
    static std::map<float, std::shared_ptr<const Table>> tables;
    constexpr std::size_t kMost = 16;
    const std::lock_guard lock(mutex);
    auto& known = tables[gamma];
    if (!known) {
        auto table = std::make_shared<Table>(65536);
        for (std::size_t i = 0; i < table->size(); ++i) {
            (*table)[i] = Format::store(encodeGamma(static_cast<float>(i) * (1.0f / 65535.0f), gamma));
        }
        known = std::move(table);
    }
    const auto result = known;
    if (tables.size() > kMost) tables.clear();
    return result;
}

/// Rows of stored values to linear ones and back.
template <typename Format>
class Codec {
public:
    using Stored = typename Format::Stored;

    Codec(PixelFormat format, std::uint32_t channels, float gamma, std::size_t pixels)
        : gamma_(gamma), channels_(channels), alpha_(channels % 2 == 0) {
        // A table of 16 bits is worth its making for larger images only.
        constexpr std::size_t kWorthATable = 16384;
        if (gamma == 1.0f) return;
        if (format == PixelFormat::Byte || pixels > kWorthATable) decode_ = makeDecodeTable(format, gamma);
        // Integers of 16 bits are finer than the table where it is dark.
        if constexpr (std::is_same_v<Format, ByteFormat>) encode_ = encodeTable<Format>(gamma);
    }

    void decode(const Stored* from, float* to, std::size_t pixels) const {
        const std::size_t count = pixels * channels_;
        if (gamma_ == 1.0f) {
            for (std::size_t i = 0; i < count; ++i) to[i] = Format::load(from[i]);
            return;
        }
        const float* table = nullptr;
        if constexpr (std::is_integral_v<Stored>) table = decode_ ? decode_->data() : nullptr;
        if (table) {
            for (std::size_t i = 0; i < count; ++i) to[i] = table[static_cast<std::size_t>(from[i])];
        } else {
            for (std::size_t i = 0; i < count; ++i) to[i] = decodeGamma(Format::load(from[i]), gamma_);
        }
        if (!alpha_) return;
        for (std::size_t i = channels_ - 1; i < count; i += channels_) to[i] = Format::load(from[i]);
    }

    void encode(const float* from, Stored* to, std::size_t pixels) const {
        const std::size_t count = pixels * channels_;
        if (gamma_ == 1.0f) {
            for (std::size_t i = 0; i < count; ++i) to[i] = Format::store(from[i]);
            return;
        }
        if (encode_) {
            const Stored* table = encode_->data();
            for (std::size_t i = 0; i < count; ++i)
                to[i] = table[static_cast<std::size_t>(clamp01(from[i]) * 65535.0f + 0.5f)];
        } else {
            for (std::size_t i = 0; i < count; ++i) to[i] = Format::store(encodeGamma(from[i], gamma_));
        }
        if (!alpha_) return;
        for (std::size_t i = channels_ - 1; i < count; i += channels_) to[i] = Format::store(from[i]);
    }

private:
    float gamma_;
    std::uint32_t channels_;
    bool alpha_;
    std::shared_ptr<const DecodeTable> decode_;
    std::shared_ptr<const EncodeTable<Stored>> encode_;
};

/// Columns of a row, two or three to one.
template <std::uint32_t kChannels>
void halveColumns(const float* from, float* to, std::uint32_t fromWidth, std::uint32_t width) {
    if (fromWidth == 2 * width) {
        for (std::uint32_t x = 0; x < width; ++x) {
            for (std::uint32_t c = 0; c < kChannels; ++c) {
                to[x * kChannels + c] = 0.5f * (from[2 * x * kChannels + c] + from[(2 * x + 1) * kChannels + c]);
            }
        }
        return;
    }
    for (std::uint32_t x = 0; x < width; ++x) {
        const Taps taps = tapsFor(x, fromWidth, width);
        for (std::uint32_t c = 0; c < kChannels; ++c) {
            float sum = 0.0f;
            for (std::uint32_t i = 0; i < taps.count; ++i)
                sum += taps.weight[i] * from[(taps.first + i) * kChannels + c];
            to[x * kChannels + c] = sum;
        }
    }
}

/// Two by two bytes to one, by whole numbers: most images are of bytes and have even sizes.
template <std::uint32_t kChannels>
void halveBytes(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* to, std::uint32_t width,
                const std::uint16_t* decode, const std::uint8_t* encode) {
    constexpr std::uint32_t kColors = kChannels % 2 == 0 ? kChannels - 1 : kChannels;
    for (std::uint32_t x = 0; x < width; ++x, a += 2 * kChannels, b += 2 * kChannels, to += kChannels) {
        for (std::uint32_t c = 0; c < kChannels; ++c) {
            const std::uint32_t p = a[c], q = a[kChannels + c], r = b[c], s = b[kChannels + c];
            to[c] = c < kColors && decode
                        ? encode[(std::uint32_t{decode[p]} + decode[q] + decode[r] + decode[s] + 2) >> 2]
                        : static_cast<std::uint8_t>((p + q + r + s + 2) >> 2);
        }
    }
}

void halveEvenBytes(const ImageTexture& from, std::uint8_t* out, float gamma) {
    const std::uint32_t width = from.width() / 2, height = from.height() / 2, channels = from.channels();
    const auto* pixels = static_cast<const std::uint8_t*>(from.pixels());
    std::array<std::uint16_t, 256> decode{};
    std::shared_ptr<const EncodeTable<std::uint8_t>> encode;
    if (gamma != 1.0f) {
        encode = encodeTable<ByteFormat>(gamma);
        for (std::size_t i = 0; i < decode.size(); ++i) {
            decode[i] = WordFormat::store(decodeGamma(static_cast<float>(i) * (1.0f / 255.0f), gamma));
        }
    }
    constexpr void (*kHalve[])(const std::uint8_t*, const std::uint8_t*, std::uint8_t*, std::uint32_t,
                               const std::uint16_t*,
                               const std::uint8_t*) = {halveBytes<1>, halveBytes<2>, halveBytes<3>, halveBytes<4>};
    const std::size_t row = std::size_t{width} * channels;
    const std::uint32_t grain = std::max(1u, 16384u / width);
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, height, grain), [&](const auto& range) {
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) {
            const std::uint8_t* first = pixels + 4 * y * row;
            kHalve[channels - 1](first, first + 2 * row, out + y * row, width, encode ? decode.data() : nullptr,
                                 encode ? encode->data() : nullptr);
        }
    });
}

template <typename Format>
void halve(const ImageTexture& from, typename Format::Stored* out, std::uint32_t width, std::uint32_t height,
           float gamma) {
    using Stored = typename Format::Stored;
    if constexpr (std::is_same_v<Format, ByteFormat>) {
        if (from.width() == 2 * width && from.height() == 2 * height) return halveEvenBytes(from, out, gamma);
    }
    const std::uint32_t channels = from.channels();
    const Codec<Format> codec(from.format(), channels, gamma, std::size_t{from.width()} * from.height());
    const auto* pixels = static_cast<const Stored*>(from.pixels());
    const std::size_t fromRow = std::size_t{from.width()} * channels, row = std::size_t{width} * channels;
    constexpr void (*kHalveColumns[])(const float*, float*, std::uint32_t, std::uint32_t) = {
        halveColumns<1>, halveColumns<2>, halveColumns<3>, halveColumns<4>};
    const std::uint32_t grain = std::max(1u, 16384u / width);
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, height, grain), [&](const auto& range) {
        std::vector<float> line(fromRow), sum(fromRow), half(row);
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) {
            const Taps taps = tapsFor(y, from.height(), height);
            for (std::uint32_t j = 0; j < taps.count; ++j) {
                codec.decode(pixels + (taps.first + j) * fromRow, line.data(), from.width());
                const float weight = taps.weight[j];
                if (j == 0) {
                    for (std::size_t i = 0; i < fromRow; ++i) sum[i] = weight * line[i];
                } else {
                    for (std::size_t i = 0; i < fromRow; ++i) sum[i] += weight * line[i];
                }
            }
            kHalveColumns[channels - 1](sum.data(), half.data(), from.width(), width);
            codec.encode(half.data(), out + y * row, width);
        }
    });
}

}  // namespace

ImageTexture halfImage(const ImageTexture& image, float gamma) {
    if (isBlockFormat(image.format())) {
        return compressImage(halfImage(plainImage(image), gamma), image.format());
    }
    const std::uint32_t width = std::max(image.width() / 2, 1u), height = std::max(image.height() / 2, 1u);
    const std::size_t bytes =
        static_cast<std::size_t>(width) * height * image.channels() * channelBytes(image.format());
    std::shared_ptr<std::byte[]> memory = allocatePixels(bytes);
    withFormat(image.format(), [&](auto format) {
        using Format = decltype(format);
        halve<Format>(image, reinterpret_cast<typename Format::Stored*>(memory.get()), width, height, gamma);
    });
    const void* pixels = memory.get();
    return {width, height, image.channels(), image.format(), pixels, bytes, std::move(memory), image.linear()};
}

ImagePyramidPtr makePyramid(const ImageTexture& image, float gamma) {
    auto pyramid = std::make_shared<ImagePyramid>();
    pyramid->levels.reserve(32);
    // Levels of blocks are made of plain ones, so that nothing is compressed more than once.
    ImageTexture plain = plainImage(image);
    while (plain.width() > 1 || plain.height() > 1) {
        plain = halfImage(plain, gamma);
        const bool blocks = isBlockFormat(image.format()) && plain.width() >= 4 && plain.height() >= 4;
        pyramid->levels.push_back(blocks ? compressImage(plain, image.format()) : plain);
    }
    return pyramid;
}

}  // namespace Lumora::engine
