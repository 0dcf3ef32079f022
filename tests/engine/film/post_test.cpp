// Bloom and glare: where the light goes, and that none is made or lost.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/film/post.h"
#include "tests/engine/film/film_pictures.h"

namespace Lumora::engine::test {
namespace {

constexpr std::uint32_t kWidth = 400, kHeight = 300, kX = 200, kY = 150;

/// A picture that is black but for one point of light.
Picture point(Float3 light) {
    Picture p;
    p.width = kWidth;
    p.height = kHeight;
    p.region = {0, 0, kWidth, kHeight};
    p.pixels.resize(kWidth * kHeight);
    p.row(kY)[kX].color = light;
    return p;
}

Float3 total(const Picture& p) {
    double sum[3] = {};
    for (const FilmPixel& pixel : p.pixels) {
        sum[0] += pixel.color.x;
        sum[1] += pixel.color.y;
        sum[2] += pixel.color.z;
    }
    return {static_cast<float>(sum[0]), static_cast<float>(sum[1]), static_cast<float>(sum[2])};
}

TEST(Post, LightIsKept) {
    const Float3 light{1000.0f, 500.0f, 2000.0f};
    for (const float bloom : {0.0f, 1.0f, 20.0f}) {
        for (const float glare : {0.0f, 0.1f, 20.0f}) {
            for (const float spectral : {0.0f, 0.5f}) {
                PostProcessing post;
                post.on = true;
                post.bloomPower = bloom;
                post.glarePower = glare;
                post.spectralIntensity = spectral;
                post.spectralShift = 1.0f;
                Picture p = point(light);
                scatterLight(p, post);
                const Float3 sum = total(p);
                // What is missing ran over the edges, which are four lengths of a ray away.
                EXPECT_NEAR(sum.x, light.x, 0.03f * light.x) << bloom << " " << glare << " " << spectral;
                EXPECT_NEAR(sum.y, light.y, 0.03f * light.y) << bloom << " " << glare << " " << spectral;
                EXPECT_NEAR(sum.z, light.z, 0.03f * light.z) << bloom << " " << glare << " " << spectral;
                const float kept = 1.0f / (1.0f + kScatter * (bloom + glare));
                Picture added = point(light);
                keepScattered(added, post);
                EXPECT_NEAR(p.row(kY)[kX].color.y - added.row(kY)[kX].color.y, kept * light.y, 0.01f * light.y);
                EXPECT_NEAR(total(added).y, (1.0f - kept) * light.y, 0.03f * light.y);
            }
        }
    }
}

TEST(Post, AnEvenPictureStaysEven) {
    Picture p = point({});
    for (FilmPixel& pixel : p.pixels) pixel.color = {0.5f, 0.2f, 0.1f};
    PostProcessing post;
    post.on = true;
    post.bloomPower = 50.0f;
    post.glarePower = 0.0f;
    scatterLight(p, post);
    for (std::size_t i = 0; i < p.pixels.size(); ++i) ASSERT_NEAR(p.pixels[i].color.y, 0.2f, 2e-4f) << i;
}

TEST(Post, RaysLieAtTheirAngles) {
    for (const int rays : {1, 2, 3, 8}) {
        for (const float angle : {-60.0f, 0.0f, 15.0f, 90.0f}) {
            PostProcessing post;
            post.on = true;
            post.bloomPower = 0.0f;
            post.glarePower = 10.0f;
            post.rays = rays;
            post.angle = angle;
            post.blur = 0.005f;
            Picture p = point(splat(1e4f));
            scatterLight(p, post);
            // Brightness around a circle: high on the rays, low between them.
            const auto at = [&](float degrees) {
                const float a = degrees * kPi / 180.0f;
                const auto x = static_cast<std::uint32_t>(std::lround(kX + 60.0f * std::cos(a)));
                const auto y = static_cast<std::uint32_t>(std::lround(kY - 60.0f * std::sin(a)));
                return p.row(y)[x].color.y;
            };
            const float step = 180.0f / static_cast<float>(rays);
            for (int i = 0; i < 2 * rays; ++i) {
                const float on = angle + step * static_cast<float>(i);
                EXPECT_GT(at(on), 20.0f * at(on + 0.5f * step)) << rays << " rays from " << angle << ", at " << on;
            }
        }
    }
}

TEST(Post, BlurWidensRaysAndTheSpectrumLengthensRedOnes) {
    const auto made = [](float blur, float intensity, float shift) {
        PostProcessing post;
        post.on = true;
        post.bloomPower = 0.0f;
        post.glarePower = 10.0f;
        post.rays = 1;
        post.angle = 0.0f;
        post.blur = blur;
        post.spectralIntensity = intensity;
        post.spectralShift = shift;
        Picture p = point(splat(1e4f));
        scatterLight(p, post);
        return p;
    };
    const Picture thin = made(0.002f, 0.0f, 2.0f), wide = made(0.05f, 0.0f, 2.0f), spectral = made(0.002f, 1.0f, 3.0f),
                  unshifted = made(0.002f, 1.0f, 0.0f);
    const auto offAxis = [](const Picture& p) { return p.row(kY + 6)[kX + 50].color.y; };
    EXPECT_GT(offAxis(wide), 100.0f * offAxis(thin) + 1e-3f);
    const Float3 near = spectral.row(kY)[kX + 4].color, far = spectral.row(kY)[kX + 120].color;
    EXPECT_TRUE(near.z > near.y && near.y > near.x) << near.x << " " << near.y << " " << near.z;
    EXPECT_TRUE(far.x > 1.5f * far.y && far.y > 1.5f * far.z) << far.x << " " << far.y << " " << far.z;
    const Float3 grey = unshifted.row(kY)[kX + 120].color;
    EXPECT_NEAR(grey.x, grey.z, 1e-4f * grey.x);
}

TEST(Post, OffAndPowerlessChangeNothing) {
    for (const bool on : {false, true}) {
        PostProcessing post;
        post.on = on;
        if (on) post.bloomPower = post.glarePower = 0.0f;
        Picture p = point(splat(7.0f));
        scatterLight(p, post);
        EXPECT_EQ(p.row(kY)[kX].color.x, 7.0f);
        keepScattered(p, post);
        EXPECT_EQ(total(p).x, 0.0f);
    }
}

}  // namespace
}  // namespace Lumora::engine::test
