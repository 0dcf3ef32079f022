// Every control of the imager against its formula on a known picture.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>

#include "engine/film/lut.h"
#include "engine/film/response.h"
#include "tests/engine/film/film_pictures.h"

namespace Lumora::engine::test {
namespace {

constexpr std::uint32_t kWidth = 41, kHeight = 23;
constexpr float kByte = 0.51f / 255.0f;

/// A picture with all brightnesses from black to far over white in many colours, and alpha from 0 to 1.
FilmPixel probe(std::uint32_t x, std::uint32_t y) {
    const float light = std::pow(2.0f, 0.25f * static_cast<float>(x) - 7.0f);
    const float hue = static_cast<float>(y) / kHeight;
    return {Float3{1.0f, 0.2f + 0.7f * hue, 1.0f - 0.9f * hue} * light, static_cast<float>(y % 5) / 4.0f};
}

float srgb(float v) {
    return v <= 0.0031308f ? 12.92f * v : 1.055f * std::pow(v, 1.0f / 2.4f) - 0.055f;
}

template <typename F>
Float3 each(Float3 c, F&& f) {
    return {f(c.x), f(c.y), f(c.z)};
}

/// Response curve 99, spelled out.
float curve99(float x, float balance) {
    const float y = 1.0f - std::pow(1.0f - std::pow(clamp01(x), 0.62f), 1.55f);
    const float m = 1.0f - std::pow(1.0f - std::pow(0.18f, 0.62f), 1.55f);
    const auto logit = [](float v) { return std::log(v / (1.0f - v)); };
    const float wanted = logit(m) + 1.10f * (logit(y) - logit(m)) + balance;
    return y <= 0 ? 0 : y >= 1 ? 1 : 1.0f / (1.0f + std::exp(-wanted));
}

struct Case {
    const char* name;
    std::function<void(Imager&)> set;
    /// The colour on the screen for the mean of a pixel.
    std::function<Float3(Float3, std::uint32_t x, std::uint32_t y)> expected;
};

TEST(Imager, EveryControlFollowsItsFormula) {
    const auto show = [](Float3 c) { return each(clamp01(c), srgb); };
    const Case cases[] = {
        {"nothing", [](Imager&) {}, [&](Float3 c, auto, auto) { return show(c); }},
        {"exposure", [](Imager& i) { i.exposure = 2.5f; }, [&](Float3 c, auto, auto) { return show(c * 2.5f); }},
        {"exposure of none", [](Imager& i) { i.exposure = 0.0f; }, [&](Float3, auto, auto) { return Float3{}; }},
        {"gamma", [](Imager& i) { i.gamma = 1.7f; },
         [&](Float3 c, auto, auto) { return each(show(c), [](float v) { return std::pow(v, 1 / 1.7f); }); }},
        {"linear response", [](Imager& i) { i.response = 400; }, [&](Float3 c, auto, auto) { return clamp01(c); }},
        {"gamma 1.8", [](Imager& i) { i.response = 402; },
         [&](Float3 c, auto, auto) { return each(clamp01(c), [](float v) { return std::pow(v, 1 / 1.8f); }); }},
        {"gamma 2.2", [](Imager& i) { i.response = 403; },
         [&](Float3 c, auto, auto) { return each(clamp01(c), [](float v) { return std::pow(v, 1 / 2.2f); }); }},
        {"film", [](Imager& i) { i.response = 99; },
         [&](Float3 c, auto, auto) {
             return Float3{curve99(c.x, 0.05f), curve99(c.y, 0.0f), curve99(c.z, -0.04f)};
         }},
        {"neutral film",
         [](Imager& i) {
             i.response = 99;
             i.neutralResponse = true;
         },
         [&](Float3 c, auto, auto) { return each(c, [](float v) { return curve99(v, 0.0f); }); }},
        {"an id without a curve", [](Imager& i) { i.response = 150; }, [&](Float3 c, auto, auto) { return show(c); }},
        {"gamma before the response",
         [](Imager& i) {
             i.gamma = 2.0f;
             i.response = 99;
             i.neutralResponse = true;
             i.order = 1;
         },
         [&](Float3 c, auto, auto) { return each(clamp01(c), [](float v) { return curve99(std::sqrt(v), 0.0f); }); }},
        {"response before gamma",
         [](Imager& i) {
             i.gamma = 2.0f;
             i.response = 99;
             i.neutralResponse = true;
         },
         [&](Float3 c, auto, auto) { return each(clamp01(c), [](float v) { return std::sqrt(curve99(v, 0.0f)); }); }},
        {"white balance",
         [](Imager& i) {
             i.whitePoint = {0.9f, 1.0f, 0.5f};
         },
         [&](Float3 c, auto, auto) {
             const float l = luminance({0.9f, 1.0f, 0.5f});
             return show(c * Float3{l / 0.9f, l, l / 0.5f});
         }},
        {"vignetting", [](Imager& i) { i.vignetting = 0.7f; },
         [&](Float3 c, std::uint32_t x, std::uint32_t y) {
             const float dx = static_cast<float>(x) + 0.5f - 0.5f * kWidth;
             const float dy = static_cast<float>(y) + 0.5f - 0.5f * kHeight;
             const float tangent = 2.0f * std::hypot(dx, dy) / std::hypot(float(kWidth), float(kHeight));
             return show(c * lerp(1.0f, std::pow(std::cos(std::atan(tangent)), 4.0f), 0.7f));
         }},
        {"saturation", [](Imager& i) { i.saturation = 0.4f; },
         [&](Float3 c, auto, auto) { return show(lerp(splat(luminance(c)), c, 0.4f)); }},
        {"grey", [](Imager& i) { i.saturation = 0.0f; },
         [&](Float3 c, auto, auto) { return show(splat(luminance(c))); }},
        {"highlight compression", [](Imager& i) { i.highlightCompression = 0.6f; },
         [&](Float3 c, auto, auto) {
             const float m = maxComponent(c), over = m - 0.4f;
             return show(m <= 0.4f ? c : c * ((0.4f + 0.6f * over / (0.6f + over)) / m));
         }},
        {"saturate to white", [](Imager& i) { i.saturateToWhite = 0.8f; },
         [&](Float3 c, auto, auto) {
             const float m = maxComponent(c);
             return show(m <= 1.0f ? c : lerp(c, splat(m), 0.8f * (1.0f - 1.0f / m)));
         }},
    };
    const Film size = filmSize(kWidth, kHeight);
    const auto film = filmOf(size, probe);
    for (const Case& row : cases) {
        DevelopSettings settings;
        settings.film = size;
        row.set(settings.imager);
        const Image image = developed(*film, settings, TONEMAP_LDR);
        for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
            const Float3 expected = row.expected(probe(i % kWidth, i / kWidth).color, i % kWidth, i / kWidth);
            const Float3 got = colorAt(image, i);
            for (const Float2 pair : {Float2{got.x, expected.x}, {got.y, expected.y}, {got.z, expected.z}})
                ASSERT_NEAR(pair.x, pair.y, kByte) << row.name << " at " << i % kWidth << ", " << i / kWidth;
        }
    }
}

TEST(Imager, AlphaIsAsItsControlsSay) {
    const Film size = filmSize(kWidth, kHeight);
    const auto film = filmOf(size, [](std::uint32_t x, std::uint32_t y) {
        FilmPixel p = probe(x, y);
        p.color = p.color * (0.3f / maxComponent(p.color)) * p.alpha;
        return p;
    });
    for (const TonemapType type : {TONEMAP_LDR, TONEMAP_HDR, TONEMAP_HDR_LINEAR}) {
        for (int bits = 0; bits < 12; ++bits) {
            DevelopSettings settings;
            settings.film = size;
            settings.imager.response = 400;
            settings.imager.premultipliedAlpha = bits & 1;
            settings.imager.disablePartialAlpha = bits & 2;
            settings.alpha = static_cast<AlphaUse>(bits / 4);
            const Image image = developed(*film, settings, type);
            for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
                const FilmPixel p = film->tileCount() ? probe(i % kWidth, i / kWidth) : FilmPixel();
                const Float3 surface = p.color * (0.3f / maxComponent(p.color));
                const float partial = settings.imager.disablePartialAlpha && p.alpha > 0 ? 1.0f : p.alpha;
                const float alpha = settings.alpha == AlphaUse::None ? 1.0f : partial;
                const bool covered = settings.alpha == AlphaUse::Coverage;
                Float3 color = surface * (covered && p.alpha > 0 ? 1.0f : p.alpha);
                if (covered && settings.imager.premultipliedAlpha) color *= alpha;
                ASSERT_NEAR(alphaAt(image, i), alpha, kByte) << type << " " << bits << " " << i;
                ASSERT_NEAR(colorAt(image, i).x, color.x, kByte) << type << " " << bits << " " << i;
            }
        }
    }
}

TEST(Imager, DitheringKeepsTheMeanAndRoundsUpOrDown) {
    const float value = 100.3f / 255.0f;
    DevelopSettings settings;
    settings.film = filmSize(200, 100);
    settings.imager.response = 400;
    settings.imager.dither = true;
    const auto film = filmOf(settings.film, [&](auto, auto) { return FilmPixel{splat(value), 1.0f}; });
    const Image image = developed(*film, settings, TONEMAP_LDR);
    double sum = 0;
    for (std::size_t i = 0; i < 20000; ++i) {
        const int byte = (*image.bytes)[4 * i + 1];
        ASSERT_TRUE(byte == 100 || byte == 101) << byte;
        sum += byte;
    }
    EXPECT_NEAR(sum / 20000, 100.3, 0.02);
}

TEST(Imager, HotPixelsGoAndDetailsStay) {
    DevelopSettings settings;
    settings.film = filmSize(40, 30);
    settings.imager.response = 400;
    // A step edge, a thin line, a pair of hot pixels side by side, one alone, and a region that cuts them off the edge.
    const auto plain = [](std::uint32_t x, std::uint32_t y) {
        return FilmPixel{splat(y == 20 ? 0.8f : x < 20 ? 0.01f : 0.02f), 1.0f};
    };
    const auto hot = [&](std::uint32_t x, std::uint32_t y) {
        const bool is = (y == 10 && (x == 10 || x == 30 || x == 31)) || (y == 25 && x == 5);
        return is ? FilmPixel{{50.0f, 30.0f, 1.0f}, 1.0f} : plain(x, y);
    };
    const auto film = filmOf(settings.film, hot);
    for (const float threshold : {1.0f, 0.5f, 0.2f}) {
        settings.imager.hotPixels = threshold;
        const Image image = developed(*film, settings, TONEMAP_HDR);
        for (std::uint32_t i = 0; i < 1200; ++i) {
            const FilmPixel expected = threshold < 1 ? plain(i % 40, i / 40) : hot(i % 40, i / 40);
            ASSERT_NEAR(colorAt(image, i).x, expected.color.x, 1e-6f) << threshold << " " << i % 40 << "," << i / 40;
        }
    }
}

TEST(Imager, NoInputMakesNonsense) {
    const float values[] = {std::nanf(""), INFINITY, -INFINITY, -1.0f, 1e38f};
    DevelopSettings settings;
    settings.film = filmSize(5, 4);
    const auto film = filmOf(settings.film, [&](std::uint32_t x, std::uint32_t y) {
        return FilmPixel{{values[x], y ? 1.0f : values[x], 0.5f}, values[4 - x]};
    });
    settings.imager.exposure = 1e6f;
    settings.imager.saturation = 0.5f;
    settings.imager.vignetting = 1.0f;
    settings.imager.saturateToWhite = 1.0f;
    settings.imager.highlightCompression = 0.5f;
    settings.imager.hotPixels = 0.1f;
    settings.imager.dither = true;
    settings.alpha = AlphaUse::Coverage;
    settings.post.on = true;
    settings.post.bloomPower = 1e5f;
    settings.post.rays = 8;
    for (const RenderPassId pass : {RP_BEAUTY, RP_DENOISED, RP_POST}) {
        EXPECT_EQ(developed(*film, settings, TONEMAP_LDR, pass).bytes->size(), 80u);  // and no sanitizer complains
        const Image image = developed(*film, settings, TONEMAP_HDR, pass);
        for (const float v : *image.floats) EXPECT_TRUE(std::isfinite(v)) << pass;
    }
}

TEST(Film, CoarseStageFillsWholeBlocks) {
    DevelopSettings settings;
    settings.film = filmSize(45, 37);
    FilmBuffer film;
    film.reset(settings.film);
    for (std::uint32_t t = 0; t < film.tileCount(); ++t) {
        const TileRect r = film.tile(t);
        TileSums sums(r, false);
        for (FilmSum& pixel : sums.pixels) pixel = {splat(-5.0f), 0.0f, 1};
        for (std::uint32_t y = 0; y < r.height; y += film.block()) {
            for (std::uint32_t x = 0; x < r.width; x += film.block()) {
                sums.pixels[static_cast<std::size_t>(y) * r.width + x] = {splat(static_cast<float>(r.x + x)), 1.0f, 1};
            }
        }
        film.addCoarse(t, sums, film.block());
    }
    const Image image = developed(film, settings, TONEMAP_HDR_LINEAR);
    for (std::uint32_t i = 0; i < 45 * 37; ++i) {
        const std::uint32_t x = i % 45;
        ASSERT_EQ(colorAt(image, i).x, static_cast<float>(x - x % film.block())) << x << " " << i / 45;
    }
}

TEST(Film, WhatLiesOutsideTheRegionStays) {
    DevelopSettings settings;
    settings.film = filmSize(80, 60);
    const auto whole = filmOf(settings.film, [](auto, auto) { return FilmPixel{splat(0.25f), 1.0f}; });
    const Image before = developed(*whole, settings, TONEMAP_LDR);
    Film region = settings.film;
    region.regionX = 11;
    region.regionY = 13;
    region.regionWidth = 37;
    region.regionHeight = 29;
    const auto part = filmOf(region, [](auto, auto) { return FilmPixel{splat(40.0f), 1.0f}; });
    settings.imager.hotPixels = 0.3f;
    settings.post.on = true;
    settings.post.bloomPower = 10.0f;
    const Image after = developPicture(*part, settings, RP_BEAUTY, TONEMAP_LDR, &before, nullptr);
    for (std::uint32_t i = 0; i < 80 * 60; ++i) {
        const std::uint32_t x = i % 80, y = i / 80;
        const bool inside = x >= 11 && x < 48 && y >= 13 && y < 42;
        ASSERT_EQ((*after.bytes)[4 * i] != (*before.bytes)[4 * i], inside) << x << " " << y;
    }
}

// --- Response curves
// --------------------------------------------------------------------------------------------------

TEST(Response, CurvesRiseFromBlackToWhiteAndAreDistinct) {
    std::vector<int> ids = {400, 401, 402, 403};
    const std::pair<int, int> runs[] = {{99, 119}, {201, 222}, {301, 311}};
    for (const auto& [first, last] : runs) {
        for (int id = first; id <= last; ++id) ids.push_back(id);
    }
    std::vector<std::vector<float>> shapes;
    for (const int id : ids) {
        ASSERT_TRUE(knownResponse(id)) << id;
        std::vector<float> shape;
        for (const bool tint : {false, true}) {
            for (int channel = 0; channel < 3; ++channel) {
                float last = 0.0f;
                for (int i = 0; i <= 1000; ++i) {
                    const float v = respond(id, static_cast<float>(i) * 1e-3f, channel, tint);
                    ASSERT_GE(v, last) << id << " " << i;
                    last = v;
                    if (tint && i % 50 == 0) shape.push_back(v);
                }
                EXPECT_EQ(respond(id, 0.0f, channel, tint), 0.0f) << id;
                EXPECT_NEAR(last, 1.0f, 1e-6f) << id;
                const float middle = respond(id, 0.18f, channel, tint);
                EXPECT_TRUE(middle > 0.17f && middle < 0.7f) << id << " shows middle grey as " << middle;
            }
        }
        for (std::size_t other = 0; other < shapes.size(); ++other) {
            float most = 0.0f;
            for (std::size_t i = 0; i < shape.size(); ++i) most = std::max(most, std::abs(shape[i] - shapes[other][i]));
            EXPECT_GT(most, 1.0f / 255.0f) << id << " looks like " << ids[other];
        }
        shapes.push_back(std::move(shape));
    }
    for (const int id : {0, 98, 120, 200, 223, 300, 312, 399, 404}) EXPECT_FALSE(knownResponse(id)) << id;
}

// --- LUT
// --------------------------------------------------------------------------------------------------------------

class LutFile : public testing::Test {
protected:
    ~LutFile() override { std::filesystem::remove(path_); }
    std::string write(const std::string& text, const std::string& suffix = ".cube") {
        std::filesystem::remove(path_);
        path_ = std::filesystem::temp_directory_path() / ("lumora_lut_" + std::to_string(getpid()) + suffix);
        std::ofstream(path_) << text;
        return path_.string();
    }
    /// Inverts every channel.
    static std::string inverting() {
        std::string text = "LUT_3D_SIZE 2\n";
        for (int b = 0; b < 2; ++b)
            for (int g = 0; g < 2; ++g)
                for (int r = 0; r < 2; ++r)
                    text += std::to_string(1 - r) + " " + std::to_string(1 - g) + " " + std::to_string(1 - b) + "\n";
        return text;
    }
    std::filesystem::path path_;
};

TEST_F(LutFile, IsAppliedInItsPlaceAndStrength) {
    std::string error;
    const auto lut = Lut::load(write(inverting()), error);
    ASSERT_TRUE(lut) << error;
    const auto invert = [](float v) { return 1.0f - v; };
    const auto root = [](float v) { return std::pow(v, 0.5f); };
    const auto film99 = [](float v) { return curve99(v, 0.0f); };
    using Step = std::function<float(float)>;
    const Step orders[kImagerOrders][3] = {{film99, root, invert}, {root, film99, invert}, {invert, film99, root},
                                           {invert, root, film99}, {film99, invert, root}, {root, invert, film99}};
    const Film size = filmSize(kWidth, kHeight);
    const auto film = filmOf(size, probe);
    for (int order = 0; order < kImagerOrders; ++order) {
        for (const float strength : {0.0f, 0.4f, 1.0f}) {
            DevelopSettings settings;
            settings.film = size;
            settings.imager.response = 99;
            settings.imager.neutralResponse = true;
            settings.imager.gamma = 2.0f;
            settings.imager.order = order;
            settings.imager.lut = lut;
            settings.imager.lutStrength = strength;
            const Image image = developed(*film, settings, TONEMAP_LDR);
            for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
                float v = clamp01(probe(i % kWidth, i / kWidth).color.y);
                for (const Step& step : orders[order]) {
                    const bool table = step.target<decltype(invert)>() != nullptr;
                    v = table ? lerp(v, invert(v), strength) : step(v);
                }
                ASSERT_NEAR(colorAt(image, i).y, v, 2 * kByte) << order << " " << strength << " " << i;
            }
        }
    }
}

TEST_F(LutFile, OneThatCannotBeReadIsOneSentence) {
    const std::string head = "LUT_3D_SIZE ";
    std::string huge = head + "400\n";
    const struct {
        std::string file, says;
    } cases[] = {
        {"/nowhere/at all.cube", "no such file"},
        {std::filesystem::temp_directory_path().string(), "no such file"},
        {write(inverting(), ".txt"), "only .cube"},
    };
    for (const auto& row : cases) {
        std::string error;
        EXPECT_FALSE(Lut::load(row.file, error));
        EXPECT_NE(error.find(row.says), std::string::npos) << error;
    }
    const std::string broken[] = {"",
                                  "no table at all",
                                  head,
                                  head + "2\n0 0 0\n",
                                  head + "-3\n0 0 0\n",
                                  head + "100000\n0 0 0\n",
                                  head + "3000000000\n0 0 0\n",
                                  "LUT_1D_SIZE 0\n",
                                  "LUT_1D_SIZE 1\n0 0 0\n",
                                  head + "2\na b c\n",
                                  inverting() + "1 1 1\n",
                                  std::string(1000, '\0'),
                                  inverting().substr(0, 40)};
    for (const std::string& text : broken) {
        std::string error;
        EXPECT_FALSE(Lut::load(write(text), error)) << text;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_NE(error.find("left out"), std::string::npos) << error;
    }
    // Larger than any table that is read; a file with a hole takes no room on the disk.
    const std::string file = write("");
    std::filesystem::resize_file(file, 200u << 20);
    std::string error;
    EXPECT_FALSE(Lut::load(file, error));
    EXPECT_NE(error.find("200 MB"), std::string::npos) << error;
}

TEST_F(LutFile, ValuesThatAreNoNumbersDoNotComeOut) {
    std::string error;
    const auto lut =
        Lut::load(write("LUT_3D_SIZE 2\nnan 0 0\n1e39 0 0\n0 inf 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n"), error);
    if (!lut) return;  // refused is as well
    float pixels[] = {0.0f, 0.0f, 0.0f, 1.0f, 0.7f, 0.2f, 0.1f, 1.0f};
    lut->apply(pixels, 2);
    for (const float v : pixels) EXPECT_TRUE(std::isfinite(v)) << v;
}

}  // namespace
}  // namespace Lumora::engine::test
