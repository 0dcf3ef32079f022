// ApiRenderEngine: target, flow, results, tonemap, region, view.
#include "engine/api/api_render_engine.h"

#include <algorithm>

#include "engine/api/api_info.h"
#include "engine/graph/log.h"
#include "engine/session/session.h"

namespace Lumora {

namespace engine {

HeldImages::HeldImages(std::vector<Image> from) : images(std::move(from)) {
    shown.reserve(images.size());
    for (const Image& image : images) {
        ApiRenderImage out;
        out.type = image.bytes ? IMAGE_LDR_RGBA : IMAGE_FLOAT_RGBA;
        out.tonemapType = image.type;
        out.pass = image.pass;
        out.size = image.size;
        out.pitch = image.size.x;
        out.buffer = image.bytes ? static_cast<const void*>(image.bytes->data())
                                 : (image.floats ? static_cast<const void*>(image.floats->data()) : nullptr);
        out.changeLevel = image.changeLevel;
        out.samplesPerPixel = image.samplesPerPixel;
        if (out.buffer) {
            shown.push_back(out);
        }
    }
}

}  // namespace engine

using namespace engine;

// --- Render target --------------------------------------------------------------------------------------------------

bool ApiRenderEngine::setRenderTargetNode(ApiNode* node) {
    std::shared_ptr<Renderer> restarted;
    {
        LUMORA_GRAPH_GUARD;
        Session& s = session();
        Node* target = node ? Item::of(node)->node() : nullptr;
        if (target && target->schema.type != NT_RENDER_TARGET) {
            logLine(LOGLEVEL_ERRORS, "%s is no render target.", target->label().c_str());
            return false;
        }
        if (target && target->scene != &s.project()) {
            logLine(LOGLEVEL_ERRORS, "%s does not belong to the project.", target->label().c_str());
            return false;
        }
        setSceneTarget(s.project(), target);
        if (target && s.stopped) {
            s.stopped = false;
            s.noteRenderStart();
            restarted = s.renderer;
        }
    }
    if (restarted) {
        restarted->restart();
    }
    return true;
}

ApiNode* ApiRenderEngine::getRenderTargetNode() {
    LUMORA_GRAPH_GUARD;
    Node* target = session().project().target;
    return target ? &target->handle : nullptr;
}

// --- Flow -----------------------------------------------------------------------------------------------------------

void ApiRenderEngine::pauseRendering() {
    if (const auto renderer = currentRenderer()) {
        renderer->pause();
    }
}

void ApiRenderEngine::continueRendering() {
    if (const auto renderer = currentRenderer()) {
        renderer->resume();
    }
}

void ApiRenderEngine::restartRendering() {
    {
        LUMORA_GRAPH_GUARD;
        session().stopped = false;
        session().noteRenderStart();
    }
    if (const auto renderer = currentRenderer()) {
        renderer->restart();
    }
}

void ApiRenderEngine::stopRendering() {
    {
        LUMORA_GRAPH_GUARD;
        session().stopped = true;
    }
    if (const auto renderer = currentRenderer()) {
        renderer->stop();
    }
}

bool ApiRenderEngine::isRenderingPaused() {
    const auto renderer = currentRenderer();
    return renderer && renderer->paused();
}

bool ApiRenderEngine::isRenderFailed() {
    const auto renderer = currentRenderer();
    return renderer && renderer->failed();
}

const char* ApiRenderEngine::renderFailureText() {
    const auto renderer = currentRenderer();
    std::string text = renderer && renderer->failed() ? renderer->failureText() : std::string();
    LUMORA_GRAPH_GUARD;
    session().failureText = std::move(text);
    return session().failureText.c_str();
}

void ApiRenderEngine::resetRenderFailure() {
    if (const auto renderer = currentRenderer()) {
        renderer->resetFailure();
    }
}

unsigned long long ApiRenderEngine::getCurrentChangeLevel() {
    LUMORA_GRAPH_GUARD;
    return session().changeLevel;
}

unsigned long long ApiRenderEngine::getRenderImageChangeLevel() {
    const auto renderer = currentRenderer();
    return renderer ? renderer->imageChangeLevel() : 0;
}

// --- Result ---------------------------------------------------------------------------------------------------------

bool ApiRenderEngine::grabRenderResult(ApiArray<ApiRenderImage>& images) {
    images = {};
    const auto renderer = currentRenderer();
    std::vector<Image> latest = renderer ? renderer->latest() : std::vector<Image>();
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    if (!s.grabbed && !latest.empty()) {
        s.grabbed = std::make_unique<HeldImages>(std::move(latest));
    }
    if (!s.grabbed || s.grabbed->shown.empty()) {
        s.grabbed = nullptr;
        return false;
    }
    images = {s.grabbed->shown.data(), s.grabbed->shown.size()};
    return true;
}

void ApiRenderEngine::releaseRenderResult() {
    std::unique_ptr<HeldImages> released;
    LUMORA_GRAPH_GUARD;
    released = std::move(session().grabbed);
}

bool ApiRenderEngine::synchronousTonemap(const RenderPassId* passes, unsigned long long count, TonemapType type,
                                         ApiArray<ApiRenderImage>& images) {
    images = {};
    const auto renderer = currentRenderer();
    if (!renderer || !passes || count == 0 || count > RenderResultStatistics::kMaxPasses) {
        logLine(LOGLEVEL_ERRORS, "No passes to tonemap.");
        return false;
    }
    auto held = std::make_unique<HeldImages>(renderer->tonemap({passes, passes + count}, type));
    if (held->shown.empty()) {
        return false;
    }
    images = {held->shown.data(), held->shown.size()};
    LUMORA_GRAPH_GUARD;
    session().tonemapped.push_back(std::move(held));
    return true;
}

void ApiRenderEngine::freeRenderImages(ApiArray<ApiRenderImage>& images) {
    LUMORA_GRAPH_GUARD;
    if (images.data && std::erase_if(session().tonemapped, [&images](const std::unique_ptr<HeldImages>& held) {
                           return held->shown.data() == images.data;
                       }) == 0) {
        logLine(LOGLEVEL_ERRORS, "These images are no result of a synchronous tonemap, or freed already.");
    }
    images = {};
}

// --- Tonemap --------------------------------------------------------------------------------------------------------

void ApiRenderEngine::setAsyncTonemapType(TonemapType type) {
    if (type < TONEMAP_LDR || type > TONEMAP_HDR) {
        logLine(LOGLEVEL_ERRORS, "There is no tonemap type %d.", static_cast<int>(type));
        return;
    }
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    s.tonemapType = type;
    if (s.renderer) {
        s.renderer->setOutput(s.tonemapType, s.passes);
    }
}

TonemapType ApiRenderEngine::asyncTonemapType() {
    LUMORA_GRAPH_GUARD;
    return session().tonemapType;
}

bool ApiRenderEngine::setAsyncTonemapRenderPasses(const ApiArray<RenderPassId>& passes) {
    std::vector<RenderPassId> wanted;
    for (std::size_t i = 0; passes.data && i < passes.size; ++i) {
        if (!ApiInfo::renderPassInfo(passes[i])) {
            logLine(LOGLEVEL_ERRORS, "There is no render pass %d.", static_cast<int>(passes[i]));
            return false;
        }
        if (std::find(wanted.begin(), wanted.end(), passes[i]) == wanted.end()) {
            wanted.push_back(passes[i]);
        }
    }
    if (wanted.empty()) {
        wanted.push_back(RP_BEAUTY);
    }
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    s.passes = std::move(wanted);
    if (s.renderer) {
        s.renderer->setOutput(s.tonemapType, s.passes);
    }
    return true;
}

void ApiRenderEngine::asyncTonemapRenderPasses(ApiArray<RenderPassId>& passes) {
    LUMORA_GRAPH_GUARD;
    const std::vector<RenderPassId>& from = session().passes;
    passes = {new RenderPassId[from.size()], from.size()};
    std::copy(from.begin(), from.end(), passes.data);
}

void ApiRenderEngine::freeTonemapPasses(ApiArray<RenderPassId>& passes) {
    delete[] passes.data;
    passes = {};
}

// --- Region and view ------------------------------------------------------------------------------------------------

void ApiRenderEngine::setRenderRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned feather) {
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    s.region = {on, start, size, feather};
    if (s.renderer) {
        s.renderer->setRegion(on, start, size, feather);
    }
}

void ApiRenderEngine::getRenderRegion(bool& on, Vec2<unsigned>& start, Vec2<unsigned>& size, unsigned& feather) {
    LUMORA_GRAPH_GUARD;
    const Region& region = session().region;
    on = region.on;
    start = region.start;
    size = region.size;
    feather = region.feather;
}

void ApiRenderEngine::setClayMode(ClayMode mode) {
    if (mode < CLAY_OFF || mode > CLAY_COLOR) {
        logLine(LOGLEVEL_ERRORS, "There is no clay mode %d.", static_cast<int>(mode));
        return;
    }
    LUMORA_GRAPH_GUARD;
    session().view.clay = mode;
}

ClayMode ApiRenderEngine::clayMode() {
    LUMORA_GRAPH_GUARD;
    return session().view.clay;
}

void ApiRenderEngine::setSubSampleMode(SubSampleMode mode) {
    if (mode != SUBSAMPLE_NONE && mode != SUBSAMPLE_2X2 && mode != SUBSAMPLE_4X4) {
        logLine(LOGLEVEL_ERRORS, "There is no sub-sample mode %d.", static_cast<int>(mode));
        return;
    }
    LUMORA_GRAPH_GUARD;
    session().view.subSample = mode;
}

SubSampleMode ApiRenderEngine::getSubSampleMode() {
    LUMORA_GRAPH_GUARD;
    return session().view.subSample;
}

float ApiRenderEngine::fps() {
    LUMORA_GRAPH_GUARD;
    return session().view.fps;
}

void ApiRenderEngine::setFps(float fps) {
    if (!(fps > 0) || fps > 100000) {
        logLine(LOGLEVEL_ERRORS, "%g is no number of frames a second.", static_cast<double>(fps));
        return;
    }
    LUMORA_GRAPH_GUARD;
    session().view.fps = fps;
}

void ApiRenderEngine::setThreadCount(unsigned threads) {
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    s.threads = threads;
    if (s.renderer) {
        s.renderer->setThreadCount(threads);
    }
}

unsigned ApiRenderEngine::threadCount() {
    LUMORA_GRAPH_GUARD;
    return session().threads;
}

// --- Picking and preview --------------------------------------------------------------------------------------------

unsigned ApiRenderEngine::pick(unsigned x, unsigned y, bool, PickIntersection*, unsigned) {
    logLine(LOGLEVEL_WARNINGS, "The renderer cannot tell what lies under pixel %u, %u.", x, y);
    return 0;
}

bool ApiRenderEngine::previewMaterial(const ApiNode* node, unsigned, unsigned, unsigned, float, PreviewType,
                                      unsigned char*) {
    logLine(LOGLEVEL_WARNINGS, "The renderer draws no preview of %s.",
            node ? Item::of(node)->label().c_str() : "a null node");
    return false;
}

}  // namespace Lumora
