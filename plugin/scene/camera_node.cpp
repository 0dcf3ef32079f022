#include "plugin/scene/camera_node.h"

#include <algorithm>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/session.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/scene/camera_motion.h"
#include "plugin/scene/camera_override.h"
#include "plugin/scene/camera_pins.h"
#include "plugin/scene/motion_settings.h"

namespace lumora {

namespace {

NodeType nodeTypeOf(const BaseContainer& tag) {
    switch (tag.GetInt32(CAMERATAG_KIND, CAMERA_THIN_LENS)) {
        case CAMERA_PANORAMIC:
            return NT_CAM_PANORAMIC;
        case CAMERA_BAKING:
            return NT_CAM_BAKING;
        case CAMERA_OSL:
            return NT_CAM_OSL;
        default:
            return NT_CAM_THINLENS;
    }
}

/// The node on the target's camera pin, of that kind. Another kind's node goes.
ApiNode* cameraNode(ApiNode* renderTarget, NodeType type, bool* made) {
    ApiNode* node = renderTarget->connectedNode(P_CAMERA);
    *made = !node || node->type() != type;
    if (!*made) return node;
    auto& root = ApiProjectManager::rootNodeGraph();
    ApiNode* fresh = createNode(type, root);
    if (!fresh) return nullptr;
    // What a pin owns goes with the connection.
    ApiNode* old = ownedDirectly(node, root) ? node : nullptr;
    connectIfChanged(renderTarget, P_CAMERA, fresh);
    destroyItem(old);
    return fresh;
}

/// Near and far clip, metres. The host's switches come before the tag.
Float2 clipping(const BaseObject& camera, const BaseContainer& tag, Float scale) {
    const BaseContainer& d = *camera.GetDataInstance();
    Float nearest = tag.GetFloat(CAMERATAG_NEAR_CLIP, 0.0) * scale;
    Float farthest = tag.GetFloat(CAMERATAG_FAR_CLIP, 1e10) * scale;
    if (d.GetBool(CAMERAOBJECT_NEAR_CLIPPING_ENABLE, true))
        nearest = d.GetFloat(CAMERAOBJECT_NEAR_CLIPPING, 0.0) * scale;
    if (d.GetBool(CAMERAOBJECT_FAR_CLIPPING_ENABLE, true))
        farthest = d.GetFloat(CAMERAOBJECT_FAR_CLIPPING, 1e10) * scale;
    return {static_cast<float>(nearest), static_cast<float>(farthest)};
}

/// What host camera and tag say together.
bool writeLens(const lumoraLive& session, ApiNode* node, const BaseObject& camera, const BaseTag* tag, Float scale) {
    const BaseContainer& data = cameraTagData(tag);
    bool changed = false;
    const Float2 clip = clipping(camera, data, scale);
    changed |= setFloatIfChanged(node, P_NEAR_CLIP, clip.x);
    changed |= setFloatIfChanged(node, P_FAR_CLIP, clip.y);
    const Float focus = focusDistance(camera, targetDistance(camera, tag));
    changed |= setFloatIfChanged(node, P_FOCAL_DEPTH, static_cast<float>(focus * scale));
    if (node->type() != NT_CAM_THINLENS) return changed;
    const bool parallel =
        data.GetBool(CAMERATAG_ORTHOGRAPHIC, false) || camera.GetDataInstance()->GetInt32(CAMERA_PROJECTION, 0) != 0;
    const Float aspect = session.renderWidth > 0 && session.renderHeight > 0
                             ? static_cast<Float>(session.renderWidth) / session.renderHeight
                             : 1.0;
    changed |= setFloatIfChanged(node, P_FOV, cameraFieldOfView(camera, parallel, aspect));
    changed |= setBoolIfChanged(node, P_ORTHOGRAPHIC, parallel);
    Float2 shift = filmOffset(camera);
    if (shift == Float2{}) {
        const Float3 own = toFloat3(data.GetVector(CAMERATAG_LENS_SHIFT));
        shift = {own.x, own.y};
    }
    return setFloat2IfChanged(node, P_LENS_SHIFT, shift) || changed;
}

UInt32 dirtySum(const BaseObject& camera, const BaseTag* tag) {
    UInt32 sum = tag ? tag->GetDirty(DIRTYFLAGS_DATA) : 0;
    for (const BaseObject* object = &camera; object; object = object->GetUp())
        sum += object->GetDirty(DIRTYFLAGS_DATA | DIRTYFLAGS_MATRIX);
    return sum;
}

/// Position, target and up: as samples over the shutter, or as plain values. True: written.
bool writePlace(lumoraLive& session, ApiNode* node, const BaseObject& camera, const BaseTag* tag,
                const EngineFrame& frame, bool anew) {
    const MotionSettings& motion = session.motion;
    CameraState& state = session.camera;
    bool changed = false;
    const bool wanted =
        motion.cameraMotion && motion.shutterTime != 0 && !cameraTagData(tag).GetBool(CAMERATAG_NO_SAMPLES, false);
    if (wanted) {
        const UInt32 dirty = dirtySum(camera, tag);
        if (anew || !state.sampled || !(frame == state.frame) || dirty != state.dirty) {
            state.sampled = sampleCamera(session, camera, node);
            changed |= state.sampled;
            state.dirty = dirty;
        }
    } else {
        state.sampled = false;
    }
    state.frame = frame;
    const Float shutter = state.sampled ? session.sendDoc->GetFps() * motion.shutterTime : 0.0;
    changed |= setFloatIfChanged(session.animationNode, P_SHUTTER_TIME, static_cast<float>(shutter));
    if (state.sampled) return setIntIfChanged(session.animationNode, P_SHUTTER_ALIGNMENT, motion.alignment) || changed;
    changed |= setFloat3IfChanged(node, P_POSITION, frame.position);
    changed |= setFloat3IfChanged(node, P_TARGET, frame.target);
    return setFloat3IfChanged(node, P_UP, frame.up) || changed;
}

/// The engine compiles the text when it is a new one.
bool writeOslSource(ApiNode* node, const BaseContainer& tag) {
    const String code = tag.GetString(CAMERATAG_OSL_CODE);
    const bool due = tag.GetBool(CAMERATAG_OSL_USE_TEXT, true) || tag.GetBool(CAMERATAG_OSL_COMPILE, false);
    if (!due || code.IsEmpty() || !setAttrIfChanged(node, A_OSL_SOURCE, code.c_str(), false)) return false;
    setAttrIfChanged(node, A_OSL_STATE, 0, true);
    return true;
}

/// The project's rate and time follow the document's.
void followTime(const lumoraLive& session) {
    const auto fps = static_cast<float>(session.sendDoc->GetFps());
    setFpsIfChanged(fps);
    const auto frame = static_cast<float>(currentFrame(*session.sendDoc));
    setTimeIfChanged((frame + static_cast<float>(session.motion.subframeOffset)) / fps);
}

}  // namespace

bool updateCamera(lumoraLive& session, const BaseObject* camera, RenderSettings& settings, bool force) {
    if (!session.renderTarget || !session.sendDoc || !camera) return false;
    const BaseTag* tag = camera->GetTag(ID_LUMORA_CAMERA_TAG);
    const BaseContainer& data = cameraTagData(tag);
    const Float scale = globals().unitScale;

    readMotionSettings(session, camera);
    if (session.motion.shutterTime == 0) session.motion.cameraMotion = false;
    bool changed = applyCameraOverrides(session.renderTarget, data, settings);
    session.postEnabled = settings.postOverridden;

    bool made = false;
    ApiNode* node = cameraNode(session.renderTarget, nodeTypeOf(data), &made);
    if (!node) return changed;
    changed |= made;
    changed |= writeCameraPins(node, data);
    if (node->type() == NT_CAM_OSL) changed |= writeOslSource(node, data);
    followTime(session);
    if (node->type() == NT_CAM_BAKING) return changed;

    changed |= writeLens(session, node, *camera, tag, scale);
    Vector position, target, ownUp;
    cameraFrame(*camera, tag, position, target, ownUp, scale);
    const EngineFrame frame = toEngineFrame(position, target, cameraUp(camera->GetMg()));
    return writePlace(session, node, *camera, tag, frame, made || force) || changed;
}

bool setFilmResolution(ApiNode* renderTarget, Int32 width, Int32 height) {
    ApiNode* film = ownedInput(renderTarget, P_FILM_SETTINGS, NT_FILM_SETTINGS);
    return setInt2IfChanged(film, P_RESOLUTION, {width, height});
}

}  // namespace lumora
