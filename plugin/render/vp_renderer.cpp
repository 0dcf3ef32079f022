#include "plugin/render/vp_renderer.h"

#include <algorithm>
#include <cmath>

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/send.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/engine_write.h"
#include "plugin/render/render_settings.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

constexpr Float kNoTimeLimit = 1e7;  // seconds
constexpr Int32 kShortestPollMs = 5, kLongestPollMs = 100;

constexpr Lumora::TonemapType tonemapOf(Int32 depth) {
    switch (depth) {
        case VPDEPTH_8_BIT:
            return Lumora::TONEMAP_LDR;
        case VPDEPTH_HALF:
            return Lumora::TONEMAP_HDR;
        default:
            return Lumora::TONEMAP_HDR_LINEAR;
    }
}

bool broken() {
    return sendBroken() || globals().renderFailed || globals().renderError;
}

String progressText(const Lumora::RenderResultStatistics& statistics) {
    constexpr Int32 kFirstInfoPass = 1000;
    String text = "Beauty samples:" + String::FloatToString(statistics.samplesPerPixel(Lumora::RP_BEAUTY), 0) + "/" +
                  String::FloatToString(statistics.maxSamplesPerPixel(Lumora::RP_BEAUTY), 0);
    for (unsigned i = 0; i < statistics.passCount; ++i) {
        if (statistics.passes[i] < kFirstInfoPass) continue;
        text += "  Info samples:" + String::FloatToString(statistics.passSamples[i], 0) + "/" +
                String::FloatToString(statistics.passMaxSamples[i], 0);
        break;
    }
    if (const float denoised = statistics.progress(Lumora::RP_DENOISED); denoised > 0)
        text += "  denoising:%" + String::FloatToString(100.0 * denoised, 0);
    return text;
}

/// Of the passes that take samples.
Float leastProgress(const Lumora::RenderResultStatistics& statistics) {
    Float least = statistics.passCount == 0 ? 0 : 1;
    for (unsigned i = 0; i < statistics.passCount; ++i)
        if (statistics.passes[i] != Lumora::RP_DENOISED) least = std::min<Float>(least, statistics.passProgress[i]);
    return least;
}

bool allDone(const Lumora::RenderResultStatistics& statistics) {
    const float* end = statistics.passProgress + statistics.passCount;
    return statistics.passCount > 0 && std::all_of(statistics.passProgress, end, [](float p) { return p >= 1.0F; });
}

/// Waits until the engine's picture shows the scene as it stands now, or the render is broken off.
void waitForImage(lumoraLive& session) {
    const unsigned long long level = Engine::getCurrentChangeLevel();
    Float shownAt = GeGetMilliSeconds();
    constexpr Float kShowEveryMs = 1000;
    for (Int32 poll = kShortestPollMs; Engine::getRenderImageChangeLevel() < level && !broken();
         poll = std::min(2 * poll, kLongestPollMs)) {
        GeSleep(poll);
        if (GeGetMilliSeconds() - shownAt < kShowEveryMs) continue;
        shownAt = GeGetMilliSeconds();
        session.setProgress(STAGE_UPDATING, 0, false);
    }
}

/// The part of the frame that the video post asks for.
void applyRegion(lumoraLive& session, const BaseContainer& data) {
    const auto edge = [&data](Int32 id) { return std::clamp(data.GetFloat(id), 0.0, 1.0); };
    const Float left = edge(VP_REGION_LEFT), top = edge(VP_REGION_TOP), right = edge(VP_REGION_RIGHT),
                bottom = edge(VP_REGION_BOTTOM);
    const auto pixel = [&session](Float x, Float y) {
        return Lumora::Vec2<int>{static_cast<int>(std::lround(x * session.lockedWidth)),
                                 static_cast<int>(std::lround(y * session.lockedHeight))};
    };
    const Lumora::Vec2<int> start = pixel(left, top), end = pixel(right, bottom);
    const bool part = end.x > start.x && end.y > start.y && (left > 0 || top > 0 || right < 1 || bottom < 1);
    writeFilmRegion(session, part, start, end);
}

void startFinalRender(lumoraLive& session, Int32 width, Int32 height) {
    session.firstFrame = true;
    session.motionAnalysis = false;
    if (width > 0 && height > 0) {
        session.lockedWidth = width;
        session.lockedHeight = height;
        // Nothing of a live render stays: its target goes with the send.
        session.renderWidth = width;
        session.renderHeight = height;
    }
    initLive(session);
}

/// Empties the session, so that the next live render starts from nothing.
void finishFinalRender(lumoraLive& session) {
    constexpr int kLongestWaitMs = 100000;
    for (int waited = 0; session.sendBusy && waited < kLongestWaitMs; waited += kLongestPollMs) {
        GeSleep(kLongestPollMs);
        logLine("wait stop exporting...");
    }
    if (session.engineReady) {
        stopLocked(session);
        Engine::resetRenderFailure();
        session.resetScene(false);
        Engine::setClayMode(static_cast<Lumora::ClayMode>(globals().savedClayMode));
        globals().clayMode = globals().savedClayMode;
        Lumora::ApiChangeManager::update();
    }
    session.finalStatus = nullptr;
    globals().breakThread = nullptr;
    globals().breakSend = false;
    globals().renderFailed = globals().renderError = false;
    session.setDocuments(nullptr, nullptr);
    session.setState(session.engineReady ? LiveState::FinalEnded : LiveState::NotInit);
    session.finalRender = false;
}

}  // namespace

LumoraVpRenderer::LumoraVpRenderer() = default;
LumoraVpRenderer::~LumoraVpRenderer() = default;

Bool LumoraVpRenderer::Init(BaseList2D* node, Bool loading) {
    if (!loading && singletons().renderSettings)
        singletons().renderSettings->writeToContainer(*node->GetDataInstance());
    return true;
}

UInt32 LumoraVpRenderer::GetRenderInfo(BaseVideoPost*) {
    return VPINFO_RENDERER | VPINFO_FINAL_PICTURE;
}

RenderResult LumoraVpRenderer::Execute(BaseVideoPost* node, VideoPostStruct* vps) {
    if (!node || !vps || !session()) return RenderResult::OutOfMemory;
    if (vps->render && (vps->render->GetFlags() & RENDERFLAGS_PREVIEW)) return RenderResult::UserBreak;
    switch (vps->phase) {
        case VpPhase::FrameSequence:
            return vps->open ? openSequence(*node, *vps) : closeSequence(*vps);
        case VpPhase::Frame: {
            if (vps->open) depth_ = node->GetDataInstance()->GetInt32(VP_DEPTH, VPDEPTH_FLOAT);
            return RenderResult::Ok;
        }
        case VpPhase::Inner:
            return vps->open ? openInner(*node, *vps) : closeInner(*vps);
    }
    return RenderResult::Ok;
}

RenderResult LumoraVpRenderer::failed(VideoPostStruct& vps, const String& why) const {
    vps.errorText = why;
    logLine(why);
    return RenderResult::UserBreak;
}

RenderResult LumoraVpRenderer::openSequence(const BaseVideoPost& node, VideoPostStruct& vps) {
    lumoraLive& live = *session();
    if (globals().renderFailed && live.engineReady) {
        logLine("reset failure...");
        Engine::resetRenderFailure();
        globals().renderFailed = globals().renderError = false;
    }
    bool free = false;
    if (!live.finalRender.compare_exchange_strong(free, true)) {
        GeConsoleOut("Cannot start render !!!");
        vps.errorText = "A final render runs already.";
        return RenderResult::UserBreak;
    }
    ownsRender_ = true;
    frameRan_ = false;
    debugLine("------- VP START: -----------");
    globals().breakSend = false;
    globals().breakThread = vps.thread;
    globals().savedClayMode = globals().clayMode;
    globals().clayMode = node.GetDataInstance()->GetInt32(VP_CLAY_MODE);
    if (const Render* render = vps.render) live.finalStatus = [render](const String& text) { render->SetStatus(text); };

    buffer_ = vps.render ? vps.render->GetBuffer(VPBUFFER_RGBA) : nullptr;
    startFinalRender(live, buffer_ ? buffer_->GetBw() : 0, buffer_ ? buffer_->GetBh() : 0);
    if (!live.engineReady) return failed(vps, "The render engine could not be started: " + live.engineError);

    settings_ = std::make_unique<RenderSettings>();
    readSettings(*node.GetDataInstance(), vps);
    return RenderResult::Ok;
}

void LumoraVpRenderer::readSettings(const BaseContainer& data, VideoPostStruct& vps) {
    settings_->setDocument(vps.doc, session()->engineReady);
    settings_->readFromDocument(true);
    if (data.GetBool(VP_OVERRIDE_KERNEL)) settings_->readFromContainer(data);
    denoise_ = data.GetBool(VP_DENOISE);
    if (!denoise_) return;
    // Into the record alone: the document keeps what its owner set.
    BaseContainer values;
    settings_->writeToContainer(values);
    values.SetBool(SETTING_DENOISER, true);
    values.SetBool(SETTING_DENOISE_VOLUMES, true);
    settings_->readFromContainer(values);
}

RenderResult LumoraVpRenderer::openInner(const BaseVideoPost& node, VideoPostStruct& vps) {
    lumoraLive& live = *session();
    frameRan_ = false;
    if (!ownsRender_ || !live.engineReady || !settings_ || !vps.doc) return RenderResult::UserBreak;
    if (globals().renderFailed || sendBroken()) {
        logLine("Break rendering...");
        return RenderResult::UserBreak;
    }
    const String frame = "Starting render frame:" + String::IntToString(vps.time.GetFrame(vps.fps));
    logLine(frame);
    live.finalStatus ? live.finalStatus(frame) : void();
    const BaseContainer& data = *node.GetDataInstance();
    readSettings(data, vps);

    live.motion.finalMotionMode = data.GetInt32(VP_MOTION_BLUR, FINAL_MOTION_OFF);
    live.motion.subframes = static_cast<Float32>(std::max(data.GetFloat(VP_MOTION_RATE, 1.0), 0.01));

    frameStart_ = GeGetMilliSeconds();
    const Float limit = data.GetFloat(VP_TIME_LIMIT);
    if (!frameSend(node, vps)) {
        if (sendBroken()) return RenderResult::UserBreak;
        return failed(vps, live.engineError.Content() ? live.engineError : String("The scene could not be sent."));
    }
    if (Engine::asyncTonemapType() != tonemapOf(depth_)) Engine::setAsyncTonemapType(tonemapOf(depth_));
    frameLoop(vps, limit > 0 ? limit : kNoTimeLimit);
    copyToHost(vps, true);
    live.setState(LiveState::Finished);
    frameRan_ = true;
    if (globals().renderFailed) {
        const char* why = Engine::renderFailureText();
        vps.errorText = why && *why ? String("The render failed: ") + why : String("The render failed.");
        return RenderResult::Failed;
    }
    if (sendBroken()) return RenderResult::UserBreak;
    live.setProgress(STAGE_UPDATED, 0, false);
    logLine("renderTM:" + String::FloatToString((GeGetMilliSeconds() - frameStart_) / 1000.0, 2) + "sec. " +
            "  totalTM:" + String::FloatToString((GeGetMilliSeconds() - live.totalTime.lastStart) / 1000.0, 2) +
            "sec. ");
    return RenderResult::Ok;
}

bool LumoraVpRenderer::frameSend(const BaseVideoPost& node, VideoPostStruct& vps) {
    lumoraLive& live = *session();
    const BaseContainer& data = *node.GetDataInstance();
    live.setState(LiveState::Idle);
    logLine("\nFRAME " + String::IntToString(vps.time.GetFrame(vps.fps)) + " fps:" + String::IntToString(vps.fps));
    if (live.firstFrame) {
        if (data.GetBool(VP_ALL_DEVICES))
            useAllDevices();
        else
            applyDeviceBlock(live.devices);
    }
    const bool allSlots = data.GetInt32(VP_FRAME_MODE, 1) != 1;
    if (!sendAndStart(live, vps.doc, vps.doc, true, allSlots, settings_.get())) return false;
    live.setResolution(live.lockedWidth, live.lockedHeight);
    applyRegion(live, data);
    if (!callUpdate(live, false, "SendAndStartRender")) live.changeState(LiveState::Exporting, LiveState::Rendering);
    waitForImage(live);
    live.firstFrame = false;
    return true;
}

void LumoraVpRenderer::frameLoop(VideoPostStruct& vps, Float timeLimit) {
    const lumoraLive& live = *session();
    bool limitReached = false;
    globals().newImage = false;
    for (Int32 poll = kShortestPollMs; !broken() && !limitReached; poll = std::min(2 * poll, kLongestPollMs)) {
        Lumora::RenderResultStatistics statistics;
        Engine::getRenderResultStatistics(statistics);
        const Float progress = leastProgress(statistics);
        if (vps.render) vps.render->SetProgress(std::clamp(progress, 0.0, 1.0));
        if (allDone(statistics)) return;
        limitReached = GeGetMilliSeconds() - frameStart_ >= timeLimit * 1000.0;
        if (globals().newImage.exchange(false)) {
            if (live.finalStatus) live.finalStatus(progressText(statistics));
            copyToHost(vps, false);
        }
        if (!limitReached) GeSleep(poll);
    }
    if (limitReached) endAtTimeLimit();
}

void LumoraVpRenderer::endAtTimeLimit() {
    lumoraLive& live = *session();
    Lumora::RenderResultStatistics statistics;
    Engine::getRenderResultStatistics(statistics);
    ApiNode* kernel = live.renderTarget ? live.renderTarget->inputNode(Lumora::P_KERNEL) : nullptr;
    const int samples = std::max(1, static_cast<int>(std::floor(statistics.samplesPerPixel(Lumora::RP_BEAUTY))));
    if (setIntIfChanged(kernel, Lumora::P_MAX_SAMPLES, samples)) callUpdate(live, false, "set max samples");
}

bool LumoraVpRenderer::copyToHost(VideoPostStruct& vps, bool closing) {
    if (!buffer_ || globals().renderError) return false;
    const Lumora::TonemapType type = tonemapOf(depth_);
    Lumora::ApiArray<Lumora::ApiRenderImage> images;
    const Lumora::RenderPassId beauty = closing && denoise_ ? Lumora::RP_DENOISED : Lumora::RP_BEAUTY;
    const bool got = closing ? Engine::synchronousTonemap(&beauty, 1, type, images) : Engine::grabRenderResult(images);
    bool copied = false;
    for (std::size_t i = 0; got && i < images.size && !copied; ++i) {
        const Lumora::ApiRenderImage& image = images[i];
        const bool bytes = image.type == Lumora::IMAGE_LDR_RGBA;
        const bool fits =
            bytes ? depth_ == VPDEPTH_8_BIT : depth_ != VPDEPTH_8_BIT && image.type == Lumora::IMAGE_FLOAT_RGBA;
        if (image.pass != beauty || !fits || !image.buffer) continue;
        const Int32 width = std::min(static_cast<Int32>(image.size.x), buffer_->GetBw());
        const Int32 height = std::min(static_cast<Int32>(image.size.y), buffer_->GetBh());
        constexpr std::size_t kChannels = 4;
        for (Int32 y = 0; y < height; ++y) {
            const std::size_t row = static_cast<std::size_t>(y) * image.pitch * kChannels;
            if (bytes)
                buffer_->SetLine8(0, y, width, static_cast<const UChar*>(image.buffer) + row);
            else
                buffer_->SetLine(0, y, width, static_cast<const Float32*>(image.buffer) + row);
        }
        copied = true;
    }
    if (closing)
        Engine::freeRenderImages(images);
    else
        Engine::releaseRenderResult();
    if (copied && vps.render) vps.render->ImageChanged();
    return copied;
}

RenderResult LumoraVpRenderer::closeInner(VideoPostStruct& vps) {
    if (!frameRan_) return RenderResult::Ok;
    frameRan_ = false;
    if (session()->finalStatus) session()->finalStatus("Frame finished");
    if (vps.render && !broken()) vps.render->SetProgress(1.0);
    return RenderResult::Ok;
}

RenderResult LumoraVpRenderer::closeSequence(VideoPostStruct& vps) {
    if (!ownsRender_) return RenderResult::Ok;
    ownsRender_ = false;
    debugLine("**** RENDER FINISHED ****  stat=" + String::IntToString(static_cast<Int32>(vps.error)));
    finishFinalRender(*session());
    settings_.reset();
    buffer_ = nullptr;
    return RenderResult::Ok;
}

}  // namespace lumora
