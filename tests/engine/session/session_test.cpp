// Start and end of the engine, updates, pictures and callbacks, through the public interface alone.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "engine/api/lumora_api.h"

namespace Lumora {

namespace {

std::atomic<unsigned long long> updatedLevel;
std::atomic<int> newImages;
std::atomic<unsigned long long> imageLevel;

/// Waits at most twenty seconds.
template <typename Condition>
bool waitFor(Condition condition) {
    for (int i = 0; i < 4000; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

class SessionTest : public testing::Test {
protected:
    SessionTest() {
        updatedLevel = 0;
        newImages = 0;
        imageLevel = 0;
    }
    ~SessionTest() override { apiMode_Shared_exit(nullptr); }

    static bool start() {
        const char* error = nullptr;
        const bool started = apiMode_Shared_start("test", true, &error, nullptr, nullptr, false);
        EXPECT_TRUE(started) << error;
        if (started) {
            ApiRenderEngine::setAsyncUpdateCallback([](unsigned long long level, void*) { updatedLevel = level; },
                                                    nullptr);
            ApiRenderEngine::setOnNewImageCallback(
                [](const ApiArray<ApiRenderImage>& images, void*) {
                    // The engine may be asked from within.
                    RenderResultStatistics statistics;
                    ApiRenderEngine::getRenderResultStatistics(statistics);
                    ApiRenderEngine::getRenderTargetNode();
                    imageLevel = images[0].changeLevel;
                    ++newImages;
                },
                nullptr);
        }
        return started;
    }

    /// An empty scene under an environment of the given colour.
    static ApiNode* makeTarget(Vec3<float> colour) {
        ApiNode* target = ApiNode::create(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph(), true);
        target->connectedNode(P_FILM_SETTINGS)->setPinValue(P_RESOLUTION, Vec2<int>{16, 8});
        target->connectedNode(P_ENVIRONMENT)->setPinValue(P_TEXTURE, colour);
        target->createInternal(P_KERNEL, NT_KERNEL_PATH, true, true)->setPinValue(P_MAX_SAMPLES, 4);
        EXPECT_TRUE(ApiRenderEngine::setRenderTargetNode(target));
        return target;
    }
    static unsigned long long update() {
        ApiChangeManager::update();
        return ApiRenderEngine::getCurrentChangeLevel();
    }
};

}  // namespace

TEST_F(SessionTest, StartFailsWithATextAndThenSucceeds) {
    setenv("LUMORA_ENGINE_FAIL_START", "no luck today", 1);
    const char* error = nullptr;
    EXPECT_FALSE(apiMode_Shared_start("test", true, &error, nullptr, nullptr, false));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error, "no luck today");
    EXPECT_FALSE(apiMode_Shared_start("test", true, nullptr, nullptr, nullptr, false));
    unsetenv("LUMORA_ENGINE_FAIL_START");
    EXPECT_TRUE(start());
    EXPECT_TRUE(start()) << "a second start changes nothing";
    EXPECT_EQ(ApiRenderEngine::getDeviceCount(), 1u);
    EXPECT_STRNE(ApiRenderEngine::getDeviceName(0), "");
    EXPECT_TRUE(ApiRenderEngine::isSupportedDevice(0));
    EXPECT_FALSE(ApiRenderEngine::isSupportedDevice(1));
}

TEST_F(SessionTest, StartAndEndManyTimes) {
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(start());
        ApiItemArray items;
        ApiProjectManager::rootNodeGraph().getOwnedItems(items);
        EXPECT_EQ(items.size(), 0u);
        EXPECT_EQ(ApiRenderEngine::getCurrentChangeLevel(), 0u);
        makeTarget({1, 1, 1});
        ApiProjectManager::applicationPreferences().set(A_PREFERENCE_SHARED_CONTEXT, true);
        update();
        EXPECT_TRUE(apiMode_Shared_exit(nullptr));
    }
    EXPECT_TRUE(apiMode_Shared_exit(nullptr)) << "the end of what is not started";
}

TEST_F(SessionTest, LevelsRiseWithChangesOnly) {
    ASSERT_TRUE(start());
    ApiNode* target = makeTarget({1, 1, 1});
    EXPECT_TRUE(ApiChangeManager::hasChanges());
    const unsigned long long first = update();
    EXPECT_GT(first, 0u);
    EXPECT_FALSE(ApiChangeManager::hasChanges());
    EXPECT_EQ(update(), first);

    target->connectedNode(P_CAMERA)->setPinValue(P_FOV, 30.f);
    const unsigned long long second = update();
    EXPECT_GT(second, first);
    target->connectedNode(P_CAMERA)->setPinValue(P_FOV, 30.f);
    EXPECT_EQ(update(), second);

    ApiRenderEngine::setClayMode(CLAY_GREY);
    const unsigned long long third = update();
    EXPECT_GT(third, second);
    ApiProjectManager::rootNodeGraph().updateTime(2.5f, true);
    EXPECT_EQ(target->time(), 2.5f);
    const unsigned long long fourth = update();
    EXPECT_GT(fourth, third);
    ApiRenderEngine::setFps(25);
    EXPECT_EQ(update(), fourth) << "that was the number already";

    EXPECT_FALSE(ApiRenderEngine::setRenderTargetNode(target->connectedNode(P_CAMERA)));
    EXPECT_EQ(ApiRenderEngine::getRenderTargetNode(), target);
    ApiProjectManager::resetProject();
    EXPECT_EQ(ApiRenderEngine::getRenderTargetNode(), nullptr);
    EXPECT_GT(update(), fourth);
}

TEST_F(SessionTest, PicturesShowTheSceneOfTheirLevel) {
    ASSERT_TRUE(start());
    ApiRenderEngine::setAsyncTonemapType(TONEMAP_HDR_LINEAR);
    ApiNode* target = makeTarget({0.25f, 0.5f, 1});
    unsigned long long level = update();
    ASSERT_TRUE(waitFor([&] { return ApiRenderEngine::getRenderImageChangeLevel() >= level && imageLevel >= level; }));
    EXPECT_GE(updatedLevel.load(), level);

    ApiArray<ApiRenderImage> images, again;
    ASSERT_TRUE(ApiRenderEngine::grabRenderResult(images));
    ASSERT_EQ(images.size, 1u);
    EXPECT_EQ(images[0].pass, RP_BEAUTY);
    EXPECT_EQ(images[0].type, IMAGE_FLOAT_RGBA);
    EXPECT_EQ(images[0].size, (Vec2<unsigned>{16, 8}));
    const auto* pixels = static_cast<const float*>(images[0].buffer);
    EXPECT_NEAR(pixels[0], 0.25f, 1e-3);
    EXPECT_NEAR(pixels[2], 1.f, 1e-3);

    // What was grabbed stays what it is, whatever is rendered meanwhile.
    target->connectedNode(P_ENVIRONMENT)->setPinValue(P_TEXTURE, Vec3<float>{1, 0, 0});
    level = update();
    ASSERT_TRUE(waitFor([&] { return ApiRenderEngine::getRenderImageChangeLevel() >= level; }));
    ASSERT_TRUE(ApiRenderEngine::grabRenderResult(again));
    EXPECT_EQ(again.data, images.data);
    EXPECT_NEAR(pixels[2], 1.f, 1e-3);
    ApiRenderEngine::releaseRenderResult();
    ASSERT_TRUE(ApiRenderEngine::grabRenderResult(again));
    EXPECT_NEAR(static_cast<const float*>(again[0].buffer)[2], 0.f, 1e-3);
    ApiRenderEngine::releaseRenderResult();

    const RenderPassId pass = RP_BEAUTY;
    ASSERT_TRUE(ApiRenderEngine::synchronousTonemap(&pass, 1, TONEMAP_LDR, images));
    EXPECT_EQ(images[0].type, IMAGE_LDR_RGBA);
    EXPECT_EQ(static_cast<const unsigned char*>(images[0].buffer)[0], 255);
    ApiRenderEngine::freeRenderImages(images);
    EXPECT_EQ(images.size, 0u);

    ASSERT_TRUE(waitFor([] {
        RenderResultStatistics statistics;
        ApiRenderEngine::getRenderResultStatistics(statistics);
        return statistics.finished;
    }));
    RenderResultStatistics statistics;
    ApiRenderEngine::getRenderResultStatistics(statistics);
    EXPECT_EQ(statistics.samplesPerPixel(RP_BEAUTY), 4.f);
    EXPECT_EQ(statistics.maxSamplesPerPixel(RP_BEAUTY), 4.f);
    EXPECT_EQ(statistics.progress(RP_BEAUTY), 1.f);
    EXPECT_EQ(statistics.samplesPerPixel(RP_UV), 0.f);
}

TEST_F(SessionTest, FlowStopsAndGoesOn) {
    ASSERT_TRUE(start());
    ApiNode* target = makeTarget({1, 1, 1});
    target->connectedNode(P_KERNEL)->setPinValue(P_MAX_SAMPLES, 100000);
    const unsigned long long level = update();
    ASSERT_TRUE(waitFor([&] { return imageLevel >= level; }));
    ApiRenderEngine::pauseRendering();
    EXPECT_TRUE(ApiRenderEngine::isRenderingPaused());
    ApiRenderEngine::continueRendering();
    EXPECT_FALSE(ApiRenderEngine::isRenderingPaused());
    ApiRenderEngine::stopRendering();
    const int before = newImages;
    ApiRenderEngine::setRenderTargetNode(target);
    EXPECT_TRUE(waitFor([&] { return newImages > before; })) << "a new target starts a stopped engine";
    EXPECT_FALSE(ApiRenderEngine::isRenderFailed());
    EXPECT_STREQ(ApiRenderEngine::renderFailureText(), "");
}

TEST_F(SessionTest, WhatTheEngineCannotDoItSays) {
    static std::string line;
    const auto keep = [](const char* text) { line = text; };
    ASSERT_TRUE(ApiLogManager::registerLogCallbackProc(keep));
    EXPECT_FALSE(ApiLogManager::registerLogCallbackProc(keep));
    unsigned result = 0;
    ApiRootNodeGraph* graph = ApiRootNodeGraph::create(4000021);
    EXPECT_FALSE(graph->import("/nowhere/scene.lpak", result, nullptr, nullptr));
    EXPECT_NE(line.find("/nowhere/scene.lpak"), std::string::npos);
    EXPECT_FALSE(ApiProjectManager::loadProject("/nowhere/other.lpak", nullptr, nullptr, true));
    EXPECT_NE(line.find("other.lpak"), std::string::npos);
    VdbInfo volume("/nowhere/smoke.vdb");
    EXPECT_EQ(volume.gridCount(), 0u);
    EXPECT_EQ(volume.grid(0), nullptr);
    EXPECT_NE(line.find("smoke.vdb"), std::string::npos);
    graph->destroy();
    EXPECT_TRUE(ApiLogManager::unregisterLogCallbackProc(keep));
    EXPECT_FALSE(ApiLogManager::unregisterLogCallbackProc(keep));
}

}  // namespace Lumora
