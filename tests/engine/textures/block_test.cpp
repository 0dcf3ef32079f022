// Block-compressed images: near to what they were made of, and what others read in them.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include "engine/render/textures/pixel_format.h"
#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

/// Channel values 0 to 1 (bytes), or any above (halves).
using Picture = std::function<float(std::uint32_t x, std::uint32_t y, std::uint32_t channel)>;

ImageTexture plainOf(std::uint32_t width, std::uint32_t height, std::uint32_t channels, PixelFormat format,
                     const Picture& picture) {
    const std::size_t count = std::size_t{width} * height * channels;
    const auto memory = std::make_shared<std::vector<std::byte>>(count * channelBytes(format));
    withFormat(format, [&](auto kind) {
        auto* to = reinterpret_cast<typename decltype(kind)::Stored*>(memory->data());
        for (std::uint32_t y = 0; y < height; ++y) {
            for (std::uint32_t x = 0; x < width; ++x) {
                for (std::uint32_t c = 0; c < channels; ++c) *to++ = decltype(kind)::store(picture(x, y, c));
            }
        }
    });
    return {width, height, channels, format, memory->data(), memory->size(), memory};
}

float smooth(float x, float y, int seed) {
    const float s = static_cast<float>(seed);
    return 0.5f + 0.25f * std::sin(x * 0.11f + s) * std::cos(y * 0.07f + 2 * s) +
           0.25f * std::sin(0.031f * (x + y) + s);
}

float random(std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    std::uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ c * 0xcb1ab31fu;
    h = (h ^ (h >> 16)) * 0x21f0aaadu;
    h = (h ^ (h >> 15)) * 0x735a2d97u;
    return static_cast<float>((h ^ (h >> 15)) >> 8) * 0x1p-24f;
}

const Picture kGradient = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    return smooth(static_cast<float>(x), static_cast<float>(y), static_cast<int>(c));
};
const Picture kRamp = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    return static_cast<float>((x + 2 * y) % 512) / 511.0f * (c == 2 ? 0.5f : 1.0f);
};
const Picture kNoise = random;
/// A bumpy normal map: two channels that have nothing to do with each other, and the third from them.
const Picture kNormals = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    const float u = static_cast<float>(x) * 0.7f, v = static_cast<float>(y) * 0.5f;
    const float a = 0.5f * std::sin(u), b = 0.5f * std::sin(v + 0.3f * u);
    const float n[3] = {a, b, std::sqrt(std::max(1.0f - a * a - b * b, 0.0f))};
    return 0.5f + 0.5f * n[c % 3];
};
/// A leaf: hard edges between two colours, in alpha where there is one.
const Picture kEdges = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    const float dx = static_cast<float>(x % 37) - 18.0f, dy = static_cast<float>(y % 41) - 20.0f;
    const bool inside = dx * dx + dy * dy < 200.0f;
    constexpr float kIn[] = {0.2f, 0.7f, 0.1f, 1.0f}, kOut[] = {0.8f, 0.5f, 0.4f, 0.0f};
    return (inside ? kIn : kOut)[c] * (0.8f + 0.2f * smooth(static_cast<float>(x), static_cast<float>(y), 1));
};
/// A sky with a sun of 20,000 times its brightness.
const Picture kSky = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    const float dx = static_cast<float>(x) - 70.0f, dy = static_cast<float>(y) - 50.0f, d2 = dx * dx + dy * dy;
    constexpr float kTint[] = {0.6f, 0.8f, 1.0f, 1.0f};
    return kTint[c] * (0.5f + 0.4f * smooth(static_cast<float>(x), static_cast<float>(y), 3)) +
           (d2 < 9.0f ? 10000.0f : 30.0f / (1.0f + d2));
};

/// Peak signal to noise in dB over the channels; of halves over the stops, with a peak of one stop.
double likeness(const ImageTexture& a, const ImageTexture& b, std::uint32_t channels) {
    double sum = 0;
    const bool half = a.format() == PixelFormat::Half;
    for (std::uint32_t y = 0; y < a.height(); ++y) {
        for (std::uint32_t x = 0; x < a.width(); ++x) {
            const Rgba p = a.texel(x, y), q = b.texel(x, y);
            const float v[4] = {p.color.x, p.color.y, p.color.z, p.alpha},
                        w[4] = {q.color.x, q.color.y, q.color.z, q.alpha};
            for (std::uint32_t c = 0; c < channels; ++c) {
                const std::uint32_t i = channels == 2 && c == 1 ? 3 : c;
                const double d = half ? std::log2(v[i] + 1e-4) - std::log2(w[i] + 1e-4) : v[i] - w[i];
                sum += d * d;
            }
        }
    }
    const double mean = sum / (static_cast<double>(a.width()) * a.height() * channels);
    return mean > 0 ? -10 * std::log10(mean) : 200.0;
}

TEST(Block, ImagesAreNearToWhatTheyWere) {
    struct Case {
        const char* name;
        PixelFormat format;
        std::uint32_t channels;
        const Picture& picture;
        double least;  ///< dB
    };
    const Case cases[] = {
        {"gradient", PixelFormat::Bc1, 3, kGradient, 37}, {"ramp", PixelFormat::Bc1, 3, kRamp, 45},
        {"noise", PixelFormat::Bc1, 3, kNoise, 13},       {"normals", PixelFormat::Bc1, 3, kNormals, 24.5},
        {"edges", PixelFormat::Bc1, 3, kEdges, 45},       {"edges", PixelFormat::Bc3, 4, kEdges, 46},
        {"gradient", PixelFormat::Bc3, 4, kGradient, 38}, {"gradient", PixelFormat::Bc4, 1, kGradient, 50},
        {"noise", PixelFormat::Bc4, 1, kNoise, 29},       {"normals", PixelFormat::Bc5, 2, kNormals, 39},
        {"gradient", PixelFormat::Bc7, 3, kGradient, 44}, {"ramp", PixelFormat::Bc7, 3, kRamp, 57},
        {"noise", PixelFormat::Bc7, 3, kNoise, 16.5},     {"normals", PixelFormat::Bc7, 3, kNormals, 32.5},
        {"edges", PixelFormat::Bc7, 3, kEdges, 53},       {"edges", PixelFormat::Bc7, 4, kEdges, 53},
        {"gradient", PixelFormat::Bc7, 4, kGradient, 42}, {"sky", PixelFormat::Bc6h, 3, kSky, 36.5},
        {"noise", PixelFormat::Bc6h, 3, kNoise, 0},       {"sky", PixelFormat::Bc6h, 1, kSky, 36.5},
    };
    for (const Case& c : cases) {
        const PixelFormat plain = plainFormat(c.format);
        const ImageTexture image = plainOf(128, 96, c.channels, plain, c.picture);
        const ImageTexture blocks = compressImage(image, c.format);
        const double db = likeness(image, blocks, c.channels);
        EXPECT_GE(db, c.least) << c.name << " in format " << static_cast<int>(c.format) << ", " << c.channels
                               << " channels";
        EXPECT_EQ(blocks.bytes(), 128u * 96 / 16 * blockBytes(c.format));
        // Whole images and single pixels decode the same.
        EXPECT_EQ(likeness(plainImage(blocks), blocks, c.channels), 200.0);
    }
}

TEST(Block, EvenColoursKeepTheirValue) {
    for (std::uint32_t v = 0; v < 256; v += 3) {
        const float r = static_cast<float>(v) / 255.0f, g = static_cast<float>(255 - v) / 255.0f;
        const Picture even = [&](std::uint32_t, std::uint32_t, std::uint32_t c) { return c == 1 ? g : r; };
        const auto near = [&](PixelFormat format, std::uint32_t channels, float steps) {
            const Rgba p = compressImage(plainOf(4, 4, channels, PixelFormat::Byte, even), format).texel(2, 1);
            EXPECT_NEAR(p.color.x, r, steps / 255.0f) << v;
            if (channels > 2) {
                EXPECT_NEAR(p.color.y, g, steps / 255.0f) << v;
            }
        };
        near(PixelFormat::Bc1, 3, 1.01f);
        near(PixelFormat::Bc4, 1, 0.01f);
        near(PixelFormat::Bc7, 3, 1.01f);
    }
    // Halves of every brightness, to a part in a thousand.
    for (float v = 1e-3f; v < 60000.0f; v *= 1.37f) {
        const Picture even = [&](std::uint32_t, std::uint32_t, std::uint32_t) { return v; };
        const Rgba p = compressImage(plainOf(4, 4, 3, PixelFormat::Half, even), PixelFormat::Bc6h).texel(3, 3);
        EXPECT_NEAR(p.color.x / v, 1.0f, 1e-3f);
    }
}

TEST(Block, EverySizeFits) {
    for (const auto& [width, height] : {std::pair{1u, 1u}, {3u, 5u}, {4u, 1u}, {1u, 7u}, {4097u, 2u}}) {
        for (const PixelFormat format : {PixelFormat::Bc1, PixelFormat::Bc3, PixelFormat::Bc4, PixelFormat::Bc5,
                                         PixelFormat::Bc6h, PixelFormat::Bc7}) {
            const std::uint32_t channels = format == PixelFormat::Bc4   ? 1
                                           : format == PixelFormat::Bc5 ? 2
                                           : format == PixelFormat::Bc3 ? 4
                                                                        : 3;
            const ImageTexture image = plainOf(width, height, channels, plainFormat(format), kGradient);
            const ImageTexture blocks = compressImage(image, format);
            EXPECT_GT(likeness(image, blocks, channels), 30.0) << width << " " << static_cast<int>(format);
            ImageLookup lookup;
            lookup.image = std::make_shared<ImageTexture>(blocks);
            lookup.pyramid = makePyramid(blocks, 2.2f);
            lookup.gamma = 2.2f;
            lookup.table = makeDecodeTable(format, 2.2f);
            EXPECT_EQ(lookup.pyramid->levels.empty(), width == 1 && height == 1);
            ImageLookup plain;
            plain.image = std::make_shared<ImageTexture>(image);
            plain.pyramid = makePyramid(image, 2.2f);
            plain.gamma = 2.2f;
            for (const float a : {0.0f, 0.02f, 0.4f, 3.0f}) {
                const Float3 p = sampleImage(lookup, {0.37f, 0.61f}, {a, 0}, {0, a}).color,
                             q = sampleImage(plain, {0.37f, 0.61f}, {a, 0}, {0, a}).color;
                EXPECT_NEAR(p.x, q.x, 0.03f) << width << " " << static_cast<int>(format) << " " << a;
            }
        }
    }
}

/// A DDS file of the image: the oldest formats have four letters, the others the header that came later.
void writeDds(const std::filesystem::path& path, const ImageTexture& image) {
    std::uint32_t header[37]{};
    header[0] = 0x20534444;  // "DDS "
    header[1] = 124;
    header[2] = 0x81007;  // caps, height, width, pixel format, linear size
    header[3] = image.height();
    header[4] = image.width();
    header[5] = static_cast<std::uint32_t>(image.bytes());
    header[19] = 32;
    header[20] = 4;           // four letters
    header[21] = 0x30315844;  // "DX10"
    header[27] = 0x1000;
    constexpr std::uint32_t kNumbers[] = {71, 77, 80, 83, 95, 98};  // BC1, BC3, BC4, BC5, BC6H unsigned, BC7
    header[32] = kNumbers[static_cast<int>(image.format()) - static_cast<int>(PixelFormat::Bc1)];
    header[33] = 3;
    header[35] = 1;
    const bool oldest = image.format() == PixelFormat::Bc1 || image.format() == PixelFormat::Bc3;
    if (oldest) header[21] = image.format() == PixelFormat::Bc1 ? 0x31545844 : 0x35545844;  // "DXT1", "DXT5"
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(header), oldest ? 128 : sizeof header);
    file.write(static_cast<const char*>(image.pixels()), static_cast<std::streamsize>(image.bytes()));
}

/// The image library's decoder is not ours.
TEST(Block, OthersReadTheSame) {
    const auto path = std::filesystem::temp_directory_path() / ("lumora_block_" + std::to_string(getpid()) + ".dds");
    const Picture mixed = [](std::uint32_t x, std::uint32_t y, std::uint32_t c) {
        const Picture* all[] = {&kGradient, &kNoise, &kNormals, &kEdges, &kRamp};
        return (*all[x / 16 % 5])(x, y, c);
    };
    for (const PixelFormat format : {PixelFormat::Bc1, PixelFormat::Bc3, PixelFormat::Bc4, PixelFormat::Bc5,
                                     PixelFormat::Bc6h, PixelFormat::Bc7}) {
        for (const std::uint32_t channels : {3u, 4u}) {
            if (channels == 4 && format != PixelFormat::Bc7 && format != PixelFormat::Bc3) continue;
            const std::uint32_t held = format == PixelFormat::Bc4 ? 1 : format == PixelFormat::Bc5 ? 2 : channels;
            const ImageTexture image = compressImage(
                plainOf(160, 128, held, plainFormat(format), format == PixelFormat::Bc6h ? kSky : mixed), format);
            writeDds(path, image);
            const auto file = OIIO::ImageInput::open(path.string());
            ASSERT_TRUE(file) << OIIO::geterror() << static_cast<int>(format);
            const int theirs = file->spec().nchannels;
            std::vector<float> pixels(std::size_t{160} * 128 * static_cast<std::size_t>(theirs));
            ASSERT_TRUE(file->read_image(0, 0, 0, theirs, OIIO::TypeDesc::FLOAT, pixels.data())) << file->geterror();
            float worst = 0;
            for (std::uint32_t i = 0; i < 160 * 128; ++i) {
                const Rgba p = image.texel(i % 160, i / 160);
                float ours[4] = {p.color.x, p.color.y, p.color.z, p.alpha};
                if (held == 2) ours[1] = p.alpha;  // they call it green
                const float* q = &pixels[i * static_cast<std::uint32_t>(theirs)];
                for (std::uint32_t c = 0; c < std::min(held, static_cast<std::uint32_t>(theirs)); ++c) {
                    worst = std::max(worst, std::abs(ours[c] - q[c]) / std::max(1.0f, ours[c]));
                }
            }
            EXPECT_LE(worst, format == PixelFormat::Bc6h || format == PixelFormat::Bc7 ? 1e-6f : 1.01f / 255.0f)
                << static_cast<int>(format) << ", " << channels << " channels";
        }
    }
    std::filesystem::remove(path);
}

/// The blocks of one image are never taken for those of another that lay at the same place.
TEST(Block, DecodedBlocksBelongToTheirImage) {
    for (int i = 0; i < 50; ++i) {
        const float v = static_cast<float>(i) / 50.0f;
        const ImageTexture image =
            compressImage(plainOf(8, 8, 1, PixelFormat::Byte, [&](auto, auto, auto) { return v; }), PixelFormat::Bc4);
        EXPECT_NEAR(image.texel(5, 5).color.x, v, 0.003f);
    }
}

}  // namespace
}  // namespace Lumora::engine::test
