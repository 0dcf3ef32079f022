// The renderer's states under edits, pauses, stops and failures.
#include <gtest/gtest.h>

#include <thread>

#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

using std::chrono::milliseconds;

NodeRecordPtr quad(Scene& scene, Float3 color) {
    return scene.keep(MeshData().quad({-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}).node({scene.diffuse(color)}));
}

TEST(Flow, AStormOfEditsEndsInTheLastState) {
    Scene scene(64, 64, 4);
    scene.environment(splat(1.0f));
    const NodeRecordPtr color = scene.keep(rgb({}));
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, color));
    const NodeRecordPtr mesh =
        scene.keep(MeshData().quad({-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}).node({material}));
    Render render;
    render.renderer().submit(scene.delta(mesh, 1));
    constexpr std::uint64_t kEdits = 300;
    for (std::uint64_t level = 2; level <= kEdits; ++level) {
        SceneDelta d;
        d.changeLevel = level;
        d.renderTarget = NodeRecordPtr(scene.target)->uid;
        d.changed = {Node(color).set(A_VALUE, splat(static_cast<float>(level) / static_cast<float>(kEdits)))};
        // Geometry, camera and film take turns; some nodes come and go.
        if (level % 3 == 0)
            d.changed.push_back(Node(mesh).set(
                A_VERTICES, shared(MeshData().quad({-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}).vertices)));
        if (level % 5 == 0)
            d.changed.push_back(Node(NodeRecordPtr(scene.camera)).set(P_FOV, 30.0f + static_cast<float>(level % 7)));
        if (level % 50 == 0) d.removed.push_back(mesh->uid);
        if (level % 50 == 1) d.changed.push_back(mesh);
        if (level == kEdits) d.removed.clear();
        if (level % 40 == 0) render.renderer().restart();
        render.renderer().submit(std::move(d));
        if (level % 10 == 0) std::this_thread::sleep_for(milliseconds(2));
    }
    const Image image = render.wait(kEdits);
    EXPECT_NEAR(mean(image, 0, 0, 64, 64).x, 1.0f, 0.01f);
    EXPECT_EQ(render.renderer().imageChangeLevel(), kEdits);
}

TEST(Flow, PausedAndStoppedRendersTakeNoSamples) {
    Scene scene(64, 64, 1000000);
    scene.environment(splat(1.0f));
    Render render;
    render.renderer().submit(scene.delta(quad(scene, splat(0.5f))));
    const auto samples = [&] { return render.renderer().statistics(RP_BEAUTY).samplesPerPixel; };
    const auto waitForMore = [&](float than) {
        for (int i = 0; i < 5000 && samples() <= than; ++i) std::this_thread::sleep_for(milliseconds(2));
        return samples() > than;
    };
    ASSERT_TRUE(waitForMore(1));
    render.renderer().pause();
    EXPECT_TRUE(render.renderer().paused());
    std::this_thread::sleep_for(milliseconds(100));  // the tiles in hand are finished
    const float held = samples();
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(samples(), held);
    render.renderer().resume();
    EXPECT_TRUE(waitForMore(held)) << "a pause keeps the samples";
    render.renderer().stop();
    const float stopped = samples();
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(samples(), stopped);
    EXPECT_FALSE(render.renderer().tonemap({RP_BEAUTY}, TONEMAP_LDR).empty()) << "the picture stays";
    render.renderer().restart();
    EXPECT_TRUE(waitForMore(0));
}

TEST(Flow, ATooLargePictureFailsWithTextAndASmallerOneRecovers) {
    Scene scene(65536, 65536, 1);
    scene.environment(splat(1.0f));
    Render render;
    render.renderer().submit(scene.delta(quad(scene, splat(0.5f)), 1));
    ASSERT_TRUE(render.waitForFailure());
    EXPECT_TRUE(render.renderer().failed());
    EXPECT_NE(render.renderer().failureText().find("65536"), std::string::npos);
    render.renderer().resetFailure();
    EXPECT_FALSE(render.renderer().failed());
    SceneDelta smaller;
    smaller.changeLevel = 2;
    smaller.renderTarget = NodeRecordPtr(scene.target)->uid;
    smaller.changed = {Node(NodeRecordPtr(scene.film)).set(P_RESOLUTION, Vec2<int>{16, 16})};
    render.renderer().submit(smaller);
    for (int i = 0; i < 5000 && !render.renderer().statistics(RP_BEAUTY).finished; ++i) {
        std::this_thread::sleep_for(milliseconds(2));
    }
    const auto images = render.renderer().tonemap({RP_BEAUTY}, TONEMAP_HDR_LINEAR);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_NEAR(mean(images[0], 0, 0, 16, 16).x, 0.5f, 0.01f);
}

TEST(Flow, RegionsSampleOnlyThemselvesAndKeepTheRest) {
    Scene scene(128, 64, 4);
    scene.environment(splat(1.0f));
    Render render;
    const NodeRecordPtr mesh = quad(scene, splat(0.5f));
    render.picture(scene.delta(mesh, 1));
    render.renderer().setRegion(true, {10, 20}, {37, 11}, 0);
    for (int i = 0; i < 2000 && !render.renderer().statistics(RP_BEAUTY).finished; ++i)
        std::this_thread::sleep_for(milliseconds(2));
    EXPECT_EQ(render.renderer().statistics(RP_BEAUTY).samplesPerPixel, 4.0f);
    const auto images = render.renderer().tonemap({RP_BEAUTY}, TONEMAP_HDR_LINEAR);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_GT(pixel(images[0], 10, 20).x, 0.4f);
    EXPECT_GT(pixel(images[0], 46, 30).x, 0.4f);
    EXPECT_EQ(pixel(images[0], 47, 30).x, 0.0f);
    EXPECT_EQ(pixel(images[0], 9, 20).x, 0.0f);
    const auto shown = render.renderer().latest();
    ASSERT_EQ(shown.size(), 1u);
    ASSERT_TRUE(shown[0].bytes);
    EXPECT_GT((*shown[0].bytes)[0], 100) << "outside the region the last picture stays";
}

TEST(Flow, AlphaAndTonemapTypes) {
    Scene scene(64, 64, 16);
    scene.environment(splat(2.0f));
    scene.kernel.set(P_ALPHA_CHANNEL, true);
    scene.imager.set(P_EXPOSURE, 0.25f);
    const NodeRecordPtr mesh =
        scene.keep(MeshData().quad({-3, -3, 0}, {0, -3, 0}, {0, 3, 0}, {-3, 3, 0}).node({scene.diffuse(splat(0.5f))}));
    Render render;
    const Image linear = render.picture(scene.delta(mesh), TONEMAP_HDR_LINEAR);
    const Image developed = render.renderer().tonemap({RP_BEAUTY}, TONEMAP_HDR)[0];
    const Image bytes = render.renderer().tonemap({RP_BEAUTY}, TONEMAP_LDR)[0];
    const std::size_t left = 4 * (32 * 64 + 8), right = 4 * (32 * 64 + 56);
    EXPECT_NEAR((*linear.floats)[left], 1.0f, 1e-4f);
    EXPECT_NEAR((*developed.floats)[left], 0.25f, 1e-4f);
    EXPECT_NEAR((*bytes.bytes)[left], 137, 1);  // sRGB of a quarter
    EXPECT_EQ((*bytes.bytes)[left + 3], 255);
    EXPECT_EQ((*linear.floats)[right + 3], 0.0f);
    EXPECT_EQ((*linear.floats)[right], 0.0f) << "the environment is hidden behind a transparent background";
}

}  // namespace
}  // namespace Lumora::engine::test
