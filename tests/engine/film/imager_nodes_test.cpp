// The nodes of imager, LUT, denoiser and post processing, from the graph to the picture.
#include <gtest/gtest.h>

#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr unsigned kWidth = 64, kHeight = 48;

/// A corner of walls under a small lamp: noisy, mostly in its shadows.
NodeRecordPtr corner(Scene& scene) {
    MeshData m;
    m.quad({-2, -1, 1}, {2, -1, 1}, {2, -1, -2}, {-2, -1, -2}, 0)
        .quad({-2, -1, -2}, {2, -1, -2}, {2, 2, -2}, {-2, 2, -2}, 1);
    m.quad({-0.5f, 1.6f, -1}, {0.5f, 1.6f, -1}, {0.5f, 1.6f, 0}, {-0.5f, 1.6f, 0}, 2);
    m.box({-0.6f, -1, -1}, {0.4f, 0, -0.2f}, 0);
    scene.camera.set(P_POSITION, Float3{0, 0.6f, 5}).set(P_FOV, 40.0f);
    return scene.keep(
        m.node({scene.diffuse(splat(0.7f)), scene.diffuse({0.2f, 0.4f, 0.7f}), scene.emitter(splat(12.0f), true)}));
}

double error(const Image& a, const Image& b) {
    double sum = 0;
    for (unsigned i = 0; i < kWidth * kHeight; ++i) {
        const Float3 p = pixel(a, i % kWidth, i / kWidth), q = pixel(b, i % kWidth, i / kWidth), d = p - q;
        sum += dot(d, d) / (dot(q, q) + 0.01);
    }
    return sum / (kWidth * kHeight);
}

Image passOf(Render& render, RenderPassId pass) {
    const std::vector<Image> images = render.renderer().tonemap({pass}, TONEMAP_HDR_LINEAR);
    EXPECT_EQ(images.size(), 1u);
    return images.empty() ? Image{} : images[0];
}

TEST(ImagerNodes, TheDenoisedPassIsNearerToTheTruth) {
    Scene scene(kWidth, kHeight, 16);
    const NodeRecordPtr geometry = corner(scene);
    Image truth;
    {
        Render render;
        scene.kernel.set(P_MAX_SAMPLES, 256);
        truth = render.picture(scene.delta(geometry));
    }
    scene.kernel.set(P_MAX_SAMPLES, 16);
    scene.imager.set(P_DENOISER, true);
    Render render;
    const Image noisy = render.picture(scene.delta(geometry));
    const Image clean = passOf(render, RP_DENOISED);
    EXPECT_EQ(clean.pass, RP_DENOISED);
    EXPECT_LT(error(clean, truth), 0.35 * error(noisy, truth));
    const Statistics s = render.renderer().statistics(RP_DENOISED);
    EXPECT_TRUE(s.denoising && s.finished);
    EXPECT_EQ(s.progress, 1.0f);

    // A blend is a matter of the display: nothing is sampled or denoised again.
    SceneDelta edit = scene.delta(geometry, 2);
    edit.changed = {Node(NodeRecordPtr(scene.imager)).set(P_DENOISER_BLEND, 1.0f)};
    const std::uint64_t built = render.renderer().statistics(RP_BEAUTY).meshesBuilt;
    EXPECT_EQ(error(render.picture(std::move(edit)), noisy), 0.0);
    EXPECT_EQ(error(passOf(render, RP_DENOISED), noisy), 0.0);
    EXPECT_EQ(render.renderer().statistics(RP_BEAUTY).meshesBuilt, built);

    // More samples make the denoised picture a new one.
    edit = scene.delta(geometry, 3);
    edit.changed = {Node(NodeRecordPtr(scene.kernel)).set(P_MAX_SAMPLES, 48),
                    Node(NodeRecordPtr(scene.imager)).set(P_DENOISER_BLEND, 0.0f)};
    render.picture(std::move(edit));
    EXPECT_LT(error(passOf(render, RP_DENOISED), truth), error(clean, truth));

    edit = scene.delta(geometry, 4);
    edit.changed = {Node(NodeRecordPtr(scene.imager)).set(P_DENOISER, false)};
    const Image off = render.picture(std::move(edit));
    EXPECT_EQ(error(passOf(render, RP_DENOISED), off), 0.0);
    EXPECT_FALSE(render.renderer().statistics(RP_BEAUTY).denoising);
}

TEST(ImagerNodes, EditsStormWhileTheDenoiserRuns) {
    Scene scene(kWidth, kHeight, 8);
    const NodeRecordPtr geometry = corner(scene);
    scene.imager.set(P_DENOISER, true).set(P_DENOISE_ON_COMPLETION, false).set(P_DENOISE_INTERVAL, 1);
    scene.imager.set(P_DENOISE_MIN_SAMPLES, 1);
    Render render;
    render.renderer().setOutput(TONEMAP_LDR, {RP_BEAUTY, RP_DENOISED});
    render.picture(scene.delta(geometry, 1));
    std::uint64_t level = 1;
    for (int i = 0; i < 20; ++i) {
        SceneDelta edit = scene.delta(geometry, ++level);
        edit.changed = {Node(NodeRecordPtr(scene.camera)).set(P_FOV, 40.0f + static_cast<float>(i))};
        render.renderer().submit(std::move(edit));
        if (i % 3 == 0) render.renderer().tonemap({RP_DENOISED}, TONEMAP_LDR);
        if (i % 5 == 0) render.renderer().stop();
        if (i % 7 == 0) render.renderer().restart();
    }
    render.renderer().restart();
    render.wait(level);
    EXPECT_EQ(passOf(render, RP_DENOISED).size, (Vec2<unsigned>{kWidth, kHeight}));
}

TEST(ImagerNodes, PostProcessingFollowsItsNode) {
    Scene scene(kWidth, kHeight, 4);
    const NodeRecordPtr geometry = corner(scene);
    Render render;
    const Image plain = render.picture(scene.delta(geometry, 1));
    EXPECT_EQ(mean(passOf(render, RP_POST), 0, 0, kWidth, kHeight), Float3{}) << "off adds nothing";
    Node post(NT_POST_PROCESSING);
    post.set(P_POST_ENABLED, true).set(P_BLOOM_POWER, 10.0f).set(P_GLARE_POWER, 0.0f);
    scene.target.connect(P_POST_PROCESSING, scene.keep(post));
    const Image glowing = render.picture(scene.delta(geometry, 2));
    EXPECT_GT(error(glowing, plain), 1e-4);
    const Image added = passOf(render, RP_POST);
    // Half of the light is scattered: the picture is half of what it was and what post processing adds.
    for (const unsigned x : {5u, 30u, 60u}) {
        EXPECT_NEAR(pixel(glowing, x, 24).y, 0.5f * pixel(plain, x, 24).y + pixel(added, x, 24).y, 1e-4f);
    }
    SceneDelta off = scene.delta(geometry, 3);
    off.changed = {Node(NodeRecordPtr(post)).set(P_POST_ENABLED, false)};
    EXPECT_EQ(error(render.picture(std::move(off)), plain), 0.0);
}

TEST(ImagerNodes, NoPictureIsShownBelowTheLeastSamples) {
    Scene scene(kWidth, kHeight, 40);
    const NodeRecordPtr geometry = corner(scene);
    for (const int least : {20, 1000}) {
        scene.imager.set(P_MIN_DISPLAY_SAMPLES, least);
        Render render;
        render.renderer().submit(scene.delta(geometry, 1));
        std::vector<Image> images;
        while (images.empty()) images = render.renderer().latest();
        EXPECT_GE(images[0].samplesPerPixel, static_cast<float>(std::min(least, 40))) << "or all that there will be";
    }
}

TEST(ImagerNodes, ALutThatIsMissingIsToldOnceAndLeftOut) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr geometry = corner(scene);
    const NodeRecordPtr lut = scene.keep(Node(NT_LUT).set(A_FILENAME, std::string("/nowhere/film.cube")));
    scene.imager.connect(P_LUT, lut).set(P_RESPONSE, 170);
    Render render;
    render.picture(scene.delta(geometry, 1));
    SceneDelta edit = scene.delta(geometry, 2);
    edit.changed = {Node(NodeRecordPtr(scene.imager)).set(P_EXPOSURE, 2.0f)};
    render.picture(std::move(edit));
    const std::string log = render.logged();
    for (const char* text : {"/nowhere/film.cube", "response 170"}) {
        const std::size_t at = log.find(text);
        ASSERT_NE(at, std::string::npos) << log;
        EXPECT_EQ(log.find(text, at + 1), std::string::npos) << "once is enough: " << log;
    }
}

}  // namespace
}  // namespace Lumora::engine::test
