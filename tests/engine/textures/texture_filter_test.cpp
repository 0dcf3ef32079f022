// Images and patterns seen from afar: neither aliased nor blurred more than they must be.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/surface.h"
#include "engine/render/textures/pixel_format.h"
#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

/// An image of the bench's own memory.
struct TestImage {
    std::vector<float> values;
    ImageLookup lookup;

    TestImage(int width, int height, const std::function<float(int, int)>& at) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) values.push_back(at(x, y));
        }
        lookup.image = std::make_shared<ImageTexture>(width, height, 1, PixelFormat::Float, values.data(),
                                                      values.size() * sizeof(float), nullptr);
        lookup.pyramid = makePyramid(*lookup.image, 1.0f);
    }
};

struct Spread {
    float mean = 0, deviation = 0;
};

Spread spreadOf(const std::vector<float>& v) {
    double sum = 0, squares = 0;
    for (const float x : v) {
        sum += x;
        squares += static_cast<double>(x) * x;
    }
    const double n = static_cast<double>(v.size()), mean = sum / n;
    return {static_cast<float>(mean), static_cast<float>(std::sqrt(std::max(squares / n - mean * mean, 0.0)))};
}

TEST(TextureFilter, LevelsKeepTheMeanOfTheLinearValues) {
    for (const PixelFormat format : {PixelFormat::Byte, PixelFormat::Word, PixelFormat::Half, PixelFormat::Float}) {
        for (const float gamma : {1.0f, 2.2f}) {
            // Odd sizes: every pixel must count the same.
            constexpr int kWidth = 37, kHeight = 21;
            withFormat(format, [&](auto kind) {
                std::vector<typename decltype(kind)::Stored> pixels;
                double sum = 0;
                for (int i = 0; i < kWidth * kHeight; ++i) {
                    const float v = static_cast<float>((i * 7919) % 256) / 255.0f;
                    pixels.push_back(decltype(kind)::store(v));
                    sum += decodeGamma(decltype(kind)::load(pixels.back()), gamma);
                }
                const ImageTexture image(kWidth, kHeight, 1, format, pixels.data(), pixels.size() * sizeof(pixels[0]),
                                         nullptr);
                const ImagePyramidPtr pyramid = makePyramid(image, gamma);
                ASSERT_EQ(pyramid->levels.size(), 5u);
                const ImageTexture& top = pyramid->levels.back();
                EXPECT_EQ(top.format(), format);
                const double mean = sum / (kWidth * kHeight);
                const double tolerance = format == PixelFormat::Byte ? 0.01 : 0.001;
                EXPECT_NEAR(decodeGamma(top.texel(0, 0).color.x, gamma), mean, tolerance)
                    << static_cast<int>(format) << " " << gamma;
            });
        }
    }
}

TEST(TextureFilter, HalvesRoundToTheNearest) {
    for (std::uint32_t bits = 0; bits < 0x7c00u; ++bits) {
        const auto half = static_cast<std::uint16_t>(bits);
        ASSERT_EQ(floatToHalf(halfToFloat(half)), half);
        if (bits + 1 == 0x7c00u) break;
        const float next = halfToFloat(static_cast<std::uint16_t>(bits + 1)), low = halfToFloat(half);
        ASSERT_EQ(floatToHalf(lerp(low, next, 0.49f)), half);
        ASSERT_EQ(floatToHalf(lerp(low, next, 0.51f)), half + 1);
    }
    EXPECT_EQ(floatToHalf(1e30f), 0x7bffu);
    EXPECT_EQ(floatToHalf(-1.0f), 0xbc00u);
}

TEST(TextureFilter, AFootprintOfAPixelChangesLittleAndAWideOneShowsTheMean) {
    const TestImage board(256, 256, [](int x, int y) { return static_cast<float>((x ^ y) & 1); });
    for (const float width : {4.0f, 16.0f, 100.0f, 300.0f, 1e7f}) {
        std::vector<float> values;
        const float a = width / 256.0f;
        for (int i = 0; i < 400; ++i) {
            const Float2 uv = {static_cast<float>(i) * 0.0123f, static_cast<float>(i) * 0.0377f};
            values.push_back(sampleImage(board.lookup, uv, {a, 0}, {0, a}).color.x);
        }
        const Spread s = spreadOf(values);
        EXPECT_NEAR(s.mean, 0.5f, 0.01f) << width;
        EXPECT_LT(s.deviation, 0.02f) << width;
    }
    // A smooth picture is the same through a narrow footprint as through none.
    const TestImage slope(64, 64, [](int x, int) { return static_cast<float>(x) / 64.0f; });
    for (const float width : {0.3f, 0.9f, 1.2f, 2.5f}) {
        const float a = width / 64.0f;
        const float seen = sampleImage(slope.lookup, {0.5f, 0.5f}, {a, 0}, {0, a}).color.x;
        EXPECT_NEAR(seen, (0.5f * 64.0f - 0.5f) / 64.0f, 0.004f) << width;
    }
}

/// Stripes across a long thin footprint go, stripes along it stay, whichever way it lies.
TEST(TextureFilter, GrazingViewsStaySharpAcross) {
    const TestImage across(512, 512, [](int x, int) { return static_cast<float>((x / 4) & 1); });
    const TestImage along(512, 512, [](int, int y) { return static_cast<float>((y / 4) & 1); });
    const float narrow = 0.7f / 512.0f, wide = 11.0f / 512.0f;
    std::vector<float> gone, kept;
    for (int i = 0; i < 500; ++i) {
        const Float2 uv = {static_cast<float>(i) * 0.00271f, static_cast<float>(i) * 0.00191f};
        gone.push_back(sampleImage(across.lookup, uv, {wide, 0}, {0, narrow}).color.x);
        kept.push_back(sampleImage(along.lookup, uv, {wide, 0}, {0, narrow}).color.x);
    }
    EXPECT_LT(spreadOf(gone).deviation, 0.06f);
    EXPECT_GT(spreadOf(kept).deviation, 0.40f);
    // The axes need not be the principal ones.
    const float c = std::cos(0.6f), s = std::sin(0.6f);
    for (int i = 0; i < 20; ++i) {
        const Float2 uv = {static_cast<float>(i) * 0.0271f, static_cast<float>(i) * 0.0191f};
        const Float2 p = {wide * c, narrow * s}, q = {-wide * s, narrow * c};
        EXPECT_NEAR(sampleImage(along.lookup, uv, p, q).color.x,
                    sampleImage(along.lookup, uv, {wide, 0}, {0, narrow}).color.x, 0.02f);
    }
}

TEST(TextureFilter, BordersAreMetByWideFootprintsToo) {
    const TestImage white(16, 16, [](int, int) { return 1.0f; });
    const auto seen = [&](BorderMode border, float u, float a) {
        ImageLookup lookup = white.lookup;
        lookup.border = border;
        return sampleImage(lookup, {u, 0.5f}, {a, 0}, {0, a}).color.x;
    };
    EXPECT_NEAR(seen(BorderMode::Black, 1.0f, 0.2f), 0.5f, 0.1f);
    EXPECT_NEAR(seen(BorderMode::Black, 3.0f, 0.2f), 0.0f, 1e-5f);
    EXPECT_NEAR(seen(BorderMode::White, 3.0f, 0.2f), 1.0f, 1e-5f);
    for (const auto border : {BorderMode::Wrap, BorderMode::Clamp, BorderMode::Mirror}) {
        EXPECT_NEAR(seen(border, 7.3f, 0.2f), 1.0f, 1e-5f);
        EXPECT_NEAR(seen(border, -1e20f, 1e5f), 1.0f, 1e-5f);
        EXPECT_NEAR(seen(border, std::numeric_limits<float>::quiet_NaN(), kInfinity), 1.0f, 1e-5f);
    }
}

TEST(TextureFilter, PatternsAreAveragedOverTheFootprint) {
    TextureBench b;
    const struct {
        NodeType type;
        float mean, narrow;  ///< deviation seen with a narrow footprint, at least
    } cases[] = {{NT_TEX_CHECKS, 0.5f, 0.4f},        {NT_TEX_SAWWAVE, 0.5f, 0.2f}, {NT_TEX_TRIANGLEWAVE, 0.5f, 0.2f},
                 {NT_TEX_SINEWAVE, 0.5f, 0.3f},      {NT_TEX_NOISE, 0.5f, 0.02f},  {NT_TEX_TURBULENCE, 0.48f, 0.02f},
                 {NT_TEX_RIDGEDFRACTAL, 0.9f, 0.0f}, {NT_TEX_MARBLE, 0.5f, 0.2f}};
    for (const auto& c : cases) {
        const TextureId id = b.compile(Node(c.type));
        for (const bool wide : {false, true}) {
            std::vector<float> values;
            for (int i = 0; i < 500; ++i) {
                TextureContext at = point(static_cast<float>(i) * 0.0937f, static_cast<float>(i) * 0.0611f, 0.3f);
                const float a = wide ? 5.0f : 0.01f;
                at.uvAxis[0][0] = {a, 0.0f};
                at.uvAxis[0][1] = {0.0f, a};
                values.push_back(b.table.scalar(id, at));
            }
            const Spread s = spreadOf(values);
            if (wide) {
                EXPECT_LT(s.deviation, 0.07f) << c.type;
                EXPECT_NEAR(s.mean, c.mean, 0.12f) << c.type;
            } else {
                EXPECT_GT(s.deviation, c.narrow) << c.type;
            }
        }
    }
}

/// The half axes that a point is told reach as far as the rays at the rim of the cone do.
TEST(TextureFilter, TheFootprintIsWhatTheConeMeets) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr texture = scene.keep(Node(NT_TEX_CHECKS));
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
    MeshData floor;
    floor.quad({-10, 0, 10}, {10, 0, 10}, {10, 0, -10}, {-10, 0, -10});
    const NodeRecordPtr mesh = scene.keep(floor.node({material}));
    const NodeRecordPtr turned = scene.scatter(mesh, {scaling({2, 1, 1})});
    SceneCompiler compiler([](const std::string&) {});
    const RenderScenePtr built = compiler.apply(scene.delta(turned)).scene;
    const Float3 from{0.3f, 1, 0};
    constexpr float kSpread = 0.002f;
    const auto seen = [&](Float3 direction) {
        const Ray ray{from, normalize(direction), 0.0f, kInfinity, {0.0f, kSpread}};
        const Hit hit = intersect(*built->geometry, ray);
        EXPECT_TRUE(hit.valid());
        return surfaceAt(*built, hit, ray).at;
    };
    for (const Float3 d : {Float3{0.2f, -1, -4}, Float3{1, -1, 0.5f}, Float3{0, -1, 0}}) {
        const Float3 axis = normalize(d);
        const TextureContext middle = seen(axis);
        for (int i = 0; i < 2; ++i) {
            // The ray that goes through the end of the half axis runs along the cone's side.
            const Float3 rim = middle.worldPosition + middle.worldAxis[i] - from;
            const float angle = length(cross(normalize(rim), axis));
            EXPECT_NEAR(angle, 0.5f * kSpread, 0.02f * kSpread) << d.x << " " << i;
            const TextureContext end = seen(rim);
            const Float3 uv = end.uv[0] - middle.uv[0], object = end.objectPosition - middle.objectPosition;
            EXPECT_NEAR(uv.x, middle.uvAxis[0][i].x, 1e-5f);
            EXPECT_NEAR(uv.y, middle.uvAxis[0][i].y, 1e-5f);
            EXPECT_NEAR(length(object - middle.objectAxis[i]), 0.0f, 1e-4f);
            EXPECT_NEAR(middle.moved(i == 0 ? 1.0f : 0.0f, i == 1 ? 1.0f : 0.0f).uv[0].x, end.uv[0].x, 1e-5f);
        }
    }
}

/// A board of checks that runs to the horizon, one sample a pixel: near the camera black and white, at the horizon
/// grey, and nowhere noise.
TEST(TextureFilter, APlaneToTheHorizonTurnsGrey) {
    for (const bool image : {false, true}) {
        Scene scene(96, 64, 1);
        scene.environment(splat(1.0f));
        scene.camera.set(P_POSITION, Float3{0, 1, 0}).set(P_TARGET, Float3{0, 1, -10}).set(P_FOV, 60.0f);
        scene.kernel.set(P_MAX_DIFFUSE_DEPTH, 1);
        Node checks(NT_TEX_CHECKS);
        std::vector<unsigned char> pixels;
        for (int i = 0; i < 64 * 64; ++i) {
            const int v = ((i % 64 / 32) ^ (i / 64 / 32)) & 1 ? 255 : 0;
            for (int c = 0; c < 4; ++c) pixels.push_back(static_cast<unsigned char>(v));
        }
        Node picture = engine::test::image(64, 64, pixels).set(P_GAMMA, 1.0f);
        const NodeRecordPtr texture = scene.keep(image ? picture : checks);
        const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
        const NodeRecordPtr plane = scene.keep(Node(NT_GEO_PLANE).connect(P_MATERIAL1, material));
        const Image seen = Render().picture(scene.delta(plane));
        std::vector<float> far, near;
        for (unsigned x = 0; x < 96; ++x) {
            far.push_back(pixel(seen, x, 33).x);
            near.push_back(pixel(seen, x, 60).x);
        }
        EXPECT_LT(spreadOf(far).deviation, 0.08f) << image;
        EXPECT_NEAR(spreadOf(far).mean, 0.5f, 0.06f) << image;
        EXPECT_GT(spreadOf(near).deviation, 0.35f) << image;
    }
}

}  // namespace
}  // namespace Lumora::engine::test
