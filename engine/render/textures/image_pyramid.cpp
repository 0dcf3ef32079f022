#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <array>
#include <new>

#include "engine/render/textures/pixel_format.h"

namespace Lumora::engine {

namespace {

/// The pixels of the larger level that make one of the smaller: two, or three where the size is odd, with their shares.
struct Taps {
    std::uint32_t first = 0, count = 0;
    float weight[3]{};
};

std::vector<Taps> tapsFor(std::uint32_t from, std::uint32_t to) {
    std::vector<Taps> taps(to);
    const float n = static_cast<float>(from);
    for (std::uint32_t i = 0; i < to; ++i) {
        if (from == to) {
            taps[i] = {i, 1, {1.0f, 0.0f, 0.0f}};
        } else if (from == 2 * to) {
            taps[i] = {2 * i, 2, {0.5f, 0.5f, 0.0f}};
        } else {
            const float k = static_cast<float>(i), m = static_cast<float>(to);
            taps[i] = {2 * i, 3, {(m - k) / n, m / n, (k + 1.0f) / n}};
        }
    }
    return taps;
}

/// Encodes linear values by interpolation in a table over their square root, which is close to linear.
class Encoder {
public:
    explicit Encoder(float gamma) : linear_(gamma == 1.0f) {
        if (linear_) return;
        for (int i = 0; i <= kSize; ++i) {
            const float root = static_cast<float>(i) / kSize;
            table_[i] = encodeGamma(root * root, gamma);
        }
    }
    float operator()(float v) const {
        if (linear_) return v;
        const float x = std::sqrt(clamp01(v)) * kSize;
        const int i = std::min(static_cast<int>(x), kSize - 1);
        return lerp(table_[i], table_[i + 1], x - static_cast<float>(i));
    }

private:
    static constexpr int kSize = 4096;
    bool linear_;
    std::array<float, kSize + 1> table_;
};

/// Decodes stored values to linear ones.
template <typename Format>
class Decoder {
public:
    Decoder(PixelFormat format, float gamma, std::size_t pixels) : gamma_(gamma) {
        constexpr std::size_t kWorthATable = 16384;
        if (format == PixelFormat::Byte || pixels > kWorthATable) table_ = makeDecodeTable(format, gamma);
    }
    float operator()(typename Format::Stored v) const {
        if constexpr (std::is_integral_v<typename Format::Stored>) {
            if (table_) return (*table_)[v];
        }
        return decodeGamma(Format::load(v), gamma_);
    }

private:
    float gamma_;
    std::shared_ptr<const DecodeTable> table_;
};

template <typename Format>
void halve(const ImageTexture& from, typename Format::Stored* out, std::uint32_t width, std::uint32_t height,
           float gamma) {
    using Stored = typename Format::Stored;
    // Values above one have no place on the table; formats that hold them are linear or take the exact curve.
    constexpr bool kWide = std::is_same_v<Format, HalfFormat> || std::is_same_v<Format, FloatFormat>;
    const Decoder<Format> decode(from.format(), gamma, std::size_t{width} * height);
    const Encoder encode(kWide ? 1.0f : gamma);
    const auto* pixels = static_cast<const Stored*>(from.pixels());
    const std::uint32_t channels = from.channels();
    const std::uint32_t colors = channels < 3 ? 1 : 3;
    const std::vector<Taps> columns = tapsFor(from.width(), width), rows = tapsFor(from.height(), height);
    const auto row = [&](std::uint32_t y) {
        Stored* to = out + static_cast<std::size_t>(y) * width * channels;
        for (std::uint32_t x = 0; x < width; ++x) {
            float sum[4] = {};
            for (std::uint32_t j = 0; j < rows[y].count; ++j) {
                const Stored* p =
                    pixels + (static_cast<std::size_t>(rows[y].first + j) * from.width() + columns[x].first) * channels;
                for (std::uint32_t i = 0; i < columns[x].count; ++i) {
                    const float w = rows[y].weight[j] * columns[x].weight[i];
                    for (std::uint32_t c = 0; c < colors; ++c) sum[c] += w * decode(p[i * channels + c]);
                    if (channels != colors) sum[colors] += w * Format::load(p[i * channels + colors]);
                }
            }
            for (std::uint32_t c = 0; c < channels; ++c) {
                const bool alpha = c >= colors;
                const float v = alpha ? sum[c] : kWide ? encodeGamma(sum[c], gamma) : encode(sum[c]);
                to[static_cast<std::size_t>(x) * channels + c] = Format::store(v);
            }
        }
    };
    const std::uint32_t grain = std::max(1u, 16384u / width);
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, height, grain), [&](const auto& range) {
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) row(y);
    });
}

}  // namespace

ImageTexture halfImage(const ImageTexture& image, float gamma) {
    const std::uint32_t width = std::max(image.width() / 2, 1u), height = std::max(image.height() / 2, 1u);
    const std::size_t bytes =
        static_cast<std::size_t>(width) * height * image.channels() * channelBytes(image.format());
    std::shared_ptr<std::byte[]> memory = std::make_shared_for_overwrite<std::byte[]>(bytes);
    withFormat(image.format(), [&](auto format) {
        using Format = decltype(format);
        halve<Format>(image, reinterpret_cast<typename Format::Stored*>(memory.get()), width, height, gamma);
    });
    const void* pixels = memory.get();
    return {width, height, image.channels(), image.format(), pixels, bytes, std::move(memory)};
}

ImagePyramidPtr makePyramid(const ImageTexture& image, float gamma) {
    auto pyramid = std::make_shared<ImagePyramid>();
    const ImageTexture* level = &image;
    pyramid->levels.reserve(32);
    while (level->width() > 1 || level->height() > 1) {
        pyramid->levels.push_back(halfImage(*level, gamma));
        level = &pyramid->levels.back();
    }
    return pyramid;
}

}  // namespace Lumora::engine
