#include "tools/node_pictures/studio.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tools/node_pictures/stages.h"

namespace pictures {

using namespace Lumora;

namespace {

constexpr int kMaxWidth = 700, kGap = 3, kNoisySamples = 24;

// What the engine complained about, kept until the next picture.
std::mutex logMutex;
std::string logged;

void keepLine(const char* line) {
    const std::lock_guard lock(logMutex);
    logged += std::string(logged.empty() ? "" : "; ") + line;
}

std::string takeLog() {
    const std::lock_guard lock(logMutex);
    return std::exchange(logged, {});
}

Picture pictureOf(const ApiRenderImage& image) {
    Picture picture{static_cast<int>(image.size.x), static_cast<int>(image.size.y), {}};
    const auto* from = static_cast<const unsigned char*>(image.buffer);
    for (unsigned y = 0; y < image.size.y; ++y) {
        for (unsigned x = 0; x < image.size.x; ++x) {
            const unsigned char* pixel = from + 4 * (static_cast<std::size_t>(y) * image.pitch + x);
            picture.pixels.insert(picture.pixels.end(), pixel, pixel + 3);
        }
    }
    return picture;
}

}  // namespace

Studio::Studio(unsigned threads)
    : scratch_(std::filesystem::temp_directory_path() / ("lumora-node-pictures-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(scratch_);
    ApiLogManager::registerLogCallbackProc(keepLine);
    const char* error = nullptr;
    if (!apiMode_Shared_start("lumora_node_pictures", false, &error, nullptr, nullptr, false))
        throw std::runtime_error(std::string("the engine does not start: ") + (error ? error : "no reason given"));
    ApiRenderEngine::setThreadCount(threads);
}

Studio::~Studio() {
    apiMode_Shared_exit(nullptr);
    ApiLogManager::unregisterLogCallbackProc(keepLine);
    std::error_code ignored;
    std::filesystem::remove_all(scratch_, ignored);
}

Vec2<int> Studio::sizeOf(const Strip& strip) {
    const StageFormat format = formatOf(strip.stage);
    const int count = static_cast<int>(strip.columns.size());
    const int width = std::min(format.maxWidth, (kMaxWidth - (count - 1) * kGap) / count);
    return {width, static_cast<int>(static_cast<float>(width) * format.aspect + 0.5f)};
}

Picture Studio::render(const Strip& strip, const Column& column, float quality,
                       const std::function<bool(float)>& poll) {
    ApiProjectManager::resetProject();
    takeLog();
    Builder builder(scratch_);
    buildStage(strip.stage, column.recipe, builder);
    const int asked = strip.noisy ? kNoisySamples : formatOf(strip.stage).samples;
    const int samples = std::max(1, static_cast<int>(static_cast<float>(asked) * quality));
    ApiRenderEngine::setRenderTargetNode(builder.finish(sizeOf(strip), samples, !strip.noisy));
    ApiChangeManager::update();
    const unsigned long long level = ApiRenderEngine::getCurrentChangeLevel();

    // Until a picture shows the new scene, statistics are those of the one before.
    float share = 0;
    while (share < 1) {
        if (ApiRenderEngine::isRenderFailed())
            throw std::runtime_error(std::string("the render failed: ") + ApiRenderEngine::renderFailureText());
        if (ApiRenderEngine::getRenderImageChangeLevel() >= level) {
            RenderResultStatistics statistics;
            ApiRenderEngine::getRenderResultStatistics(statistics);
            share = statistics.finished ? 1 : std::min(statistics.progress(RP_BEAUTY), 0.99f);
        }
        if (!poll(share)) return {};
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    const RenderPassId pass = strip.noisy ? RP_BEAUTY : RP_DENOISED;
    ApiArray<ApiRenderImage> images;
    if (!ApiRenderEngine::synchronousTonemap(&pass, 1, TONEMAP_LDR, images) || images.size == 0)
        throw std::runtime_error("the engine gives no picture");
    Picture picture = pictureOf(images[0]);
    ApiRenderEngine::freeRenderImages(images);
    if (const std::string complaint = takeLog(); !complaint.empty())
        throw std::runtime_error("the engine complains: " + complaint);
    return picture;
}

}  // namespace pictures
