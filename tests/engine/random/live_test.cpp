// A client that edits, looks and asks at the same time, while the engine renders: whatever it does, pictures are
// numbers, the last edit is built, and the engine ends when it is told to, in the middle of anything.
//
//   LUMORA_RANDOM_SEEDS=100:200 lumora_engine_tests --gtest_filter='*Live*'
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "tests/engine/random/random_scene.h"

namespace Lumora::engine::test {
namespace {

using Clock = std::chrono::steady_clock;

class Live : public testing::TestWithParam<unsigned> {
protected:
    Live() { ApiLogManager::setLogLevel(static_cast<LogLevel>(-1)); }
    ~Live() override {
        apiMode_Shared_exit(nullptr);
        ApiLogManager::setLogLevel(LOGLEVEL_WARNINGS);
    }

    /// Looks at every number of the newest pictures.
    static void look(std::mt19937& random) {
        ApiArray<ApiRenderImage> images;
        if (random() % 2) {
            if (!ApiRenderEngine::grabRenderResult(images)) return;
            check(images);
            ApiRenderEngine::releaseRenderResult();
        } else {
            const RenderPassId passes[] = {RP_BEAUTY, RP_DENOISED, RP_NOISE};
            const TonemapType types[] = {TONEMAP_LDR, TONEMAP_HDR_LINEAR};
            // The denoiser takes its time.
            if (!ApiRenderEngine::synchronousTonemap(passes, 1, types[random() % 2], images)) return;
            check(images);
            ApiRenderEngine::freeRenderImages(images);
        }
    }
    static void check(const ApiArray<ApiRenderImage>& images) {
        for (const ApiRenderImage& image : images) {
            if (image.type != IMAGE_FLOAT_RGBA) continue;
            const auto* values = static_cast<const float*>(image.buffer);
            const std::size_t count = std::size_t{4} * image.size.x * image.size.y;
            for (std::size_t i = 0; i < count; ++i) {
                if (std::isfinite(values[i])) continue;
                ADD_FAILURE() << "pass " << image.pass << ": value " << i << " is " << values[i];
                return;
            }
        }
    }
    static void resize(RandomScene& random) {
        ApiNode* film = random.target() ? random.target()->inputNode(P_FILM_SETTINGS) : nullptr;
        if (!film || !film->hasPin(P_RESOLUTION)) return;
        constexpr Vec2<int> kSizes[] = {{1, 1}, {1, 700}, {640, 480}, {14, 10}, {33, 31}, {0, -5}, {2147483647, 3}};
        film->setPinValue(P_RESOLUTION, kSizes[random.pick(std::size(kSizes))]);
    }
    static void steer(RandomScene& random) {
        switch (random.pick(12)) {
            case 0:
                ApiRenderEngine::pauseRendering();
                break;
            case 1:
            case 2:
                ApiRenderEngine::continueRendering();
                break;
            case 3:
                ApiRenderEngine::restartRendering();
                break;
            case 4:
                ApiRenderEngine::stopRendering();
                break;
            case 5:
                ApiRenderEngine::setRenderRegion(random.chance(50), {random.pick(20), random.pick(20)},
                                                 {random.pick(2) ? ~0u : random.pick(20), random.pick(20)},
                                                 random.pick(2) ? 3 : ~0u);
                break;
            case 6:
                ApiRenderEngine::setThreadCount(random.pick(4));
                break;
            case 7: {
                RenderPassId passes[] = {RP_BEAUTY, RP_NOISE, static_cast<RenderPassId>(random.pick(2000))};
                ApiRenderEngine::setAsyncTonemapRenderPasses({passes, random.pick(4)});
                break;
            }
            case 8:
                ApiRenderEngine::setAsyncTonemapType(random.chance(50) ? TONEMAP_LDR : TONEMAP_HDR_LINEAR);
                break;
            case 9:
                ApiRenderEngine::setClayMode(static_cast<ClayMode>(random.pick(3)));
                break;
            case 10:
                ApiRenderEngine::resetRenderFailure();
                break;
            default:
                resize(random);
        }
    }
};

TEST_P(Live, EditsPicturesAndQuestionsAtOnce) {
    const char* error = nullptr;
    ASSERT_TRUE(apiMode_Shared_start("test", true, &error, nullptr, nullptr, false)) << error;
    std::atomic<bool> done{false};
    std::thread looking([&] {
        std::mt19937 random(GetParam());
        while (!done) look(random);
    });
    std::thread asking([&] {
        while (!done) {
            RenderResultStatistics statistics;
            ApiRenderEngine::getRenderResultStatistics(statistics);
            EXPECT_TRUE(std::isfinite(statistics.samplesPerPixel(RP_BEAUTY)));
            EXPECT_LE(statistics.progress(RP_BEAUTY), 1.0f);
            ApiRenderEngine::isRenderFailed();
            ApiRenderEngine::renderFailureText();
            std::this_thread::yield();
        }
    });
    {
        const auto manner = GetParam() % 2 ? RandomScene::Manner::Hostile : RandomScene::Manner::Decent;
        RandomScene random(ApiProjectManager::rootNodeGraph(), GetParam(), manner);
        for (int round = 0; round < 60; ++round) {
            for (unsigned i = random.pick(4); i > 0; --i) random.edit();
            random.edits();
            ApiRenderEngine::setRenderTargetNode(random.target());
            ApiChangeManager::update();
            if (random.chance(30)) steer(random);
            if (random.chance(5)) random.enliven();
            if (random.chance(30)) std::this_thread::sleep_for(std::chrono::milliseconds(random.pick(8)));
        }
        // Half of the time the engine ends in the middle of it all.
        if (random.chance(50)) {
            random.enliven();
            ApiRenderEngine::setRenderTargetNode(random.target());
            ApiRenderEngine::setRenderRegion(false, {}, {}, 0);
            ApiRenderEngine::resetRenderFailure();
            ApiRenderEngine::restartRendering();
            ApiRenderEngine::continueRendering();
            ApiChangeManager::update();
            const unsigned long long level = ApiRenderEngine::getCurrentChangeLevel();
            const auto end = Clock::now() + std::chrono::seconds(60);
            while (random.target() && ApiRenderEngine::getRenderImageChangeLevel() < level && Clock::now() < end &&
                   !ApiRenderEngine::isRenderFailed()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            if (random.target() && !ApiRenderEngine::isRenderFailed()) {
                EXPECT_GE(ApiRenderEngine::getRenderImageChangeLevel(), level) << "seed " << GetParam();
            }
        }
        done = true;
        looking.join();
        asking.join();
        EXPECT_TRUE(apiMode_Shared_exit(nullptr));
    }
}

INSTANTIATE_TEST_SUITE_P(Random, Live, testing::ValuesIn(randomSeeds(1, 9)));

}  // namespace
}  // namespace Lumora::engine::test
