#include "plugin/core/send.h"

#include <cmath>
#include <unordered_set>

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/object_link.h"
#include "plugin/core/prefs.h"
#include "plugin/core/scene_collector.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/material_manager.h"
#include "plugin/materials/unused_materials.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/camera_node.h"
#include "plugin/scene/environment_builder.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

constexpr Int32 kNoEngineCommand = 430000731;
/// Tag switches that lay a sky or a sun into the visible environment.
constexpr Int32 kEnvironmentTagVisible = 1162, kDaylightTagVisible = 1245;

String milliseconds(Float ms) {
    return String::FloatToString(ms, 0);
}

void endSend(lumoraLive& session, LiveState state) {
    session.sendBusy = false;
    session.setState(state);
    session.setRenderEnabled(true);
}

BaseVideoPost* rendererPost(BaseDocument* document) {
    for (BaseVideoPost* post = document->GetActiveRenderData()->GetFirstVideoPost(); post; post = post->GetNext())
        if (post->GetType() == ID_LUMORA_VP_RENDERER) return post;
    return nullptr;
}

/// A switch of the renderer: materials that no object uses are left out.
bool skipsUnusedMaterials(BaseDocument* document) {
    constexpr Int32 kSkipUnusedMaterials = 1024;
    const BaseVideoPost* post = rendererPost(document);
    return post && post->GetDataInstance()->GetBool(kSkipUnusedMaterials);
}

/// Settings of the live render: the renderer's video post when the render data has one, else the document's own.
void readLiveSettings(RenderSettings& settings, BaseDocument* document, bool engineReady) {
    settings.resetDefaults();
    settings.setDocument(document, engineReady);
    // The document first, in any case: one of an older version is converted by it.
    settings.readFromDocument(true);
    if (const BaseVideoPost* post = rendererPost(document)) settings.readFromContainer(*post->GetDataInstance());
}

/// The first sky without the tag's switch goes to the environment, the first with it to the visible one; suns alike.
void assignSkyAndSun(lumoraLive& session) {
    std::array<BaseObject*, 2> sky{}, sun{};
    for (const SceneObjectInfo& info : session.collections.skyObjects) {
        const BaseTag* tag = info.object->GetTag(ID_LUMORA_ENVIRONMENT_TAG);
        const std::size_t which = tag && tag->GetDataInstance()->GetBool(kEnvironmentTagVisible) ? 1 : 0;
        if (!sky[which]) sky[which] = info.object;
    }
    for (const SceneObjectInfo& info : session.collections.sunLights) {
        const BaseTag* tag = info.object->GetTag(ID_LUMORA_DAYLIGHT_TAG);
        const std::size_t which = tag && tag->GetDataInstance()->GetBool(kDaylightTagVisible) ? 1 : 0;
        if (!sun[which]) sun[which] = info.object;
    }
    for (std::size_t i = 0; i < session.environments.size(); ++i) {
        EnvironmentBuilder& builder = *session.environments[i];
        builder.setDocument(session.sendDoc);
        builder.setSky(sky[i]);
        builder.setSun(sun[i]);
    }
}

void dumpLinks() {
    if (!debugLog()) return;
    for (const ObjectLink& link : singletons().objectLinks->links())
        debugLine("......" + link.name + "LINK:" + String::IntToString(link.tableCode) +
                  (link.meshDirty ? " [O]" : "") + (link.matrixDirty ? " [M]" : "") +
                  " IP:" + String::IntToString(link.info ? link.info->uniqueIp : 0) +
                  "  ptr:" + String::HexToString(reinterpret_cast<UInt64>(link.object)) + " >> " +
                  String::HexToString(reinterpret_cast<UInt64>(link.meshNode)));
}

/// Kinds of objects without a builder: said once for each send, so that nobody searches the picture for them.
void nameWhatIsNotBuilt(const SceneCollections& found) {
    String kinds;
    const auto add = [&kinds](std::size_t count, const char* one, const char* many) {
        if (count == 0) return;
        kinds += kinds.IsEmpty() ? "" : ", ";
        kinds += String::IntToString(static_cast<Int64>(count)) + (count == 1 ? one : many);
    };
    add(found.hairObjects.size(), " hair or spline object", " hair or spline objects");
    add(found.particleSources.size(), " particle or scatter object", " particle or scatter objects");
    if (!kinds.IsEmpty()) logLine("Not in the picture: " + kinds + ".");
}

void collectObjects(lumoraLive& session) {
    statusLine("Collecting objects.....");
    CollectOptions options;
    options.instancePaths = session.motion.cameraMotion || session.motion.objectMotion || session.motionAnalysis;
    options.tags.finalRender = session.finalRender;
    options.tags.allMovable = globals().allMovable;
    const CollectResult found = collectScene(session.sendDoc, session.collections, options);
    if (found.background) session.background.link.SetLink(found.background);
    if (found.foreground) session.foreground.link.SetLink(found.foreground);
    nameWhatIsNotBuilt(session.collections);
    logLine("Collect objects time= " + milliseconds(session.objectsTime.end()) + " ms");
    debugLine("objects walked:" + String::IntToString(found.objects));
}

void updateCameraNode(lumoraLive& session, RenderSettings& settings, bool force) {
    updateCamera(session, renderCamera(session.sendDoc), settings, force);
}

void sendScene(lumoraLive& session, bool allSlots, RenderSettings& settings, bool ownSettings) {
    if (!session.engineReady) return;
    statusLine("Sending scene data.....");
    logLine("--------------------------- EXPORT LOG ---------------------------");
    session.resetScene(true);
    if (!session.renderTarget) {
        globals().breakSend = true;
        GeConsoleOut("Render target is null. \nTry to restart render or check the content of scene.");
        return;
    }
    session.updateInProgress = false;
    // A final render has read its own record already, from the container of its video post.
    if (!ownSettings) readLiveSettings(settings, session.liveDoc, session.engineReady);
    settings.apply(session.renderTarget, singletons().prefs.get());
    for (auto& builder : session.environments) builder->setSettings(&settings);
    session.collectItems("send scene to lumora");

    session.materialsTime.start();
    statusLine("Creating materials.....");
    createMaterials(session);
    if (sendBroken()) return;
    logLine("Export materials time= " + milliseconds(session.materialsTime.end()) + " ms");
    session.collectItems("export materials");

    session.objectsTime.start();
    session.setProgress(STAGE_COLLECT, 0, false);
    readMotionSettings(session, nullptr);
    collectObjects(session);
    if (sendBroken()) return;

    statusLine("Creating meshes.....");
    session.setProgress(STAGE_GEOMETRY, 0, false);
    session.generateTime.start();
    createMeshes(session, allSlots);
    logLine("Mesh creation time = " + milliseconds(session.generateTime.end()) + " ms.");
    if (sendBroken()) return;

    session.setProgress(STAGE_LIGHTS, 0, false);
    assignSkyAndSun(session);
    dumpLinks();
    session.setProgress(STAGE_UPDATING, 0, false);
    updateCameraNode(session, settings, false);
    session.environments[0]->update(false, session.renderTarget, true);
    session.environments[1]->update(false, session.renderTarget, false);
    session.collectItems("camera and environment");
}

}  // namespace

void createMaterials(lumoraLive& session) {
    debugLine("******* createMaterials *******");
    session.setProgress(STAGE_MATERIALS, 0, false);
    MatManager& materials = *singletons().matMngr;
    materials.clearAll();
    materials.unitScale = globals().unitScale;
    materials.setDocument(session.liveDoc, session.finalRender ? session.sendDoc : nullptr);
    statusLine("Create Materials....");
    materials.batchMode = session.finalRender;
    materials.skipUnused = session.finalRender && skipsUnusedMaterials(session.sendDoc);
    if (materials.skipUnused) collectUnusedMaterials(*session.sendDoc, materials.unusedMaterials, true, false);
    const std::unordered_set<const BaseMaterial*> unused(materials.unusedMaterials.begin(),
                                                         materials.unusedMaterials.end());
    // While the documents differ, the n-th material of the one is the copy of the n-th of the other.
    BaseMaterial* source = session.liveDoc != session.sendDoc ? session.liveDoc->GetFirstMaterial() : nullptr;
    for (BaseMaterial* material = session.sendDoc->GetFirstMaterial(); material; material = material->GetNext()) {
        MatLink* link = unused.contains(material) ? nullptr : materials.createMatLink(material);
        if (link) {
            materials.hashMaterial(*material, link->hash);
            materials.setSource(*link, source);
        }
        if (source) source = source->GetNext();
    }
    bool cancelled = false;
    for (Int32 i = 0; i < materials.linkCount(); ++i) {
        if (sendBroken() || globals().breakUpdate) {
            if (!cancelled) logLine("Cancel the material export...");
            cancelled = true;
            continue;
        }
        MatLink* link = materials.linkAt(i);
        filteredLine(kLogMaterials, "convert mat:" + link->name);
        BaseMaterial* twin = link->renderMaterial();
        generateMaterial(materials, twin ? twin : link->material, link);
    }
}

bool sendAndStart(lumoraLive& session, BaseDocument* doc, BaseDocument* sendDoc, bool /*cloned*/, bool allSlots,
                  RenderSettings* settings) {
    if (session.engineReady && (globals().renderFailed || globals().renderError)) Engine::resetRenderFailure();
    session.setState(LiveState::Exporting);
    debugLine("StartRender w,h:" + String::IntToString(session.renderWidth) + "," +
              String::IntToString(session.renderHeight));
    Globals& flags = globals();
    session.sendBusy = true;
    flags.renderFailed = false;
    flags.renderError = false;
    flags.breakUpdate = false;
    flags.inDrag = true;
    session.updateCount = 0;

    if (!initLive(session)) {
        CallCommand(kNoEngineCommand);
        endSend(session, LiveState::Finished);
        return false;
    }
    registerEngineLog();
    String why;
    if (!checkDevices(session.devices, &why)) {
        session.engineError = why;
        flags.renderError = true;
        session.sendBusy = false;
        session.setState(LiveState::Finished);
        return false;
    }
    // A render that was paused before the last stop would stay so.
    continueLocked(session);
    session.checkCount = 0;
    GeFKill(GeGetStartupWritePath() + "tex");
    if (Engine::clayMode() != flags.clayMode) Engine::setClayMode(static_cast<Lumora::ClayMode>(flags.clayMode));
    session.totalTime.start();
    if (session.lockResolution && (session.renderWidth == 0 || session.renderHeight == 0))
        session.readDocumentResolution(doc);

    session.setDocuments(doc, sendDoc);
    flags.unitScale = static_cast<Float32>(sendDoc->GetUnitScale());
    flags.fps = sendDoc->GetFps();
    SpecialEventAdd(MSG_RESTARTED);
    RenderSettings& record = settings ? *settings : *singletons().renderSettings;
    sendScene(session, allSlots, record, settings != nullptr);
    if (sendBroken()) {
        logLine("Render Breaked....");
        endSend(session, LiveState::Finished);
        return false;
    }
    updateCameraNode(session, record, true);
    logLine("Update started");
    if (flags.renderError) logLine("Render Error");
    const String total = "Total export Time = " + milliseconds(session.totalTime.end()) + " ms";
    GeConsoleOut(total);
    statusLine(total);
    SpecialEventAdd(MSG_RESTARTED);
    session.sendBusy = false;
    return true;
}

bool startLiveRender(lumoraLive& session, bool viewportMode) {
    if (session.state() == LiveState::Exporting) return false;
    SendThread* thread = singletons().sendThread.get();
    if (!thread || !thread->isIdle() || session.finalRender || !session.engineReady) return false;
    BaseDocument* document = GetActiveDocument();
    if (!document) return false;
    session.firstImage = true;
    session.setProgress(STAGE_COPYING, 0, false);
    session.setState(LiveState::Exporting);
    session.setRenderEnabled(false);
    session.viewportMode = viewportMode;
    storeMaterialPointers(*document);
    session.setDocuments(document, document);

    RenderSettings& settings = *singletons().renderSettings;
    readLiveSettings(settings, document, session.engineReady);
    session.lockResolution = settings.flag(SETTING_LOCK_RESOLUTION);
    globals().logLevel = static_cast<Int32>(settings.number(SETTING_LOG_LEVEL));
    if (viewportMode) {
        Int32 left = 0, top = 0, right = 0, bottom = 0;
        document->GetActiveBaseDraw()->GetFrame(&left, &top, &right, &bottom);
        session.setResolution(right - left + 1, bottom - top + 1);
    } else if (session.lockResolution || session.renderWidth == 0 || session.renderHeight == 0) {
        session.readDocumentResolution(document);
    }
    applyDeviceBlock(session.devices);
    if (!sendAndStart(session, document, document, true, false, nullptr)) return false;
    if (!callUpdate(session, false, "mmm")) {
        // Nothing differs from what the engine renders already.
        session.changeState(LiveState::Exporting, LiveState::Rendering);
    }
    session.sentChangeLevel = Engine::getCurrentChangeLevel();
    session.setRenderEnabled(true);
    SpecialEventAdd(MSG_RESTARTED);
    return true;
}

}  // namespace lumora
