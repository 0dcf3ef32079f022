#include "plugin/scene/camera_node.h"

#include <algorithm>
#include <cmath>

#include "plugin/core/log.h"
#include "plugin/geometry/engine_matrix.h"

namespace lumora {

namespace {

constexpr Float kDefaultFocalLength = 36.0, kDefaultSensorWidth = 36.0, kDefaultDistance = 1000.0;

float degrees(Float radians) {
    return static_cast<float>(radians * kDegreesPerRadian);
}

/// Angle across the picture, radians.
Float horizontalAngle(const BaseContainer& d, Float aspect) {
    const Float vertical = d.GetFloat(CAMERAOBJECT_FOV_VERTICAL, 0.0);
    if (vertical > 0 && vertical < kPi) return 2.0 * std::atan(std::tan(0.5 * vertical) * aspect);
    const Float width = d.GetFloat(CAMERAOBJECT_APERTURE, kDefaultSensorWidth);
    const Float focal = std::max(d.GetFloat(CAMERA_FOCUS, kDefaultFocalLength), 1e-6);
    return 2.0 * std::atan(0.5 * width / focal);
}

/// Distance along the view to the object that is to be sharp, scene units; `fallback` without one.
Float focusDistance(const BaseObject& camera, const Matrix& place, Float fallback) {
    const BaseList2D* target = camera.GetDataInstance()->GetLink(CAMERAOBJECT_TARGETOBJECT, camera.GetDocument());
    if (!target || !target->IsInstanceOf(Obase)) return fallback;
    const Vector offset = static_cast<const BaseObject*>(target)->GetMg().off - place.off;
    // Behind the camera counts as far as in front of it.
    const Float distance = std::abs(Dot(offset, place.v3.GetNormalized()));
    return distance > 0.0001 ? distance : fallback;
}

}  // namespace

BaseObject* renderCamera(const BaseDocument* doc) {
    const BaseDraw* view = doc ? doc->GetActiveBaseDraw() : nullptr;
    if (!view) {
        logLine(" could not obtain render base draw");
        return nullptr;
    }
    BaseObject* camera = view->GetSceneCamera(doc);
    if (!camera) camera = view->GetEditorCamera();
    if (!camera)
        logLine(" could not obtain camera");
    else if (camera->GetType() != Ocamera)
        logLine("obtained camera object is no camera");
    return camera;
}

CameraFrame readCameraFrame(const BaseObject& camera, float scale, Float aspect) {
    const BaseContainer& d = *camera.GetDataInstance();
    const Matrix place = camera.GetMg();
    CameraFrame frame;
    frame.orthographic = d.GetInt32(CAMERA_PROJECTION, 0) != 0;

    Float distance = d.GetFloat(CAMERAOBJECT_TARGETDISTANCE, kDefaultDistance);
    if (distance <= 0.0001) distance = 1.0;
    frame.focalDepth = static_cast<float>(focusDistance(camera, place, distance) * scale);
    if (frame.orthographic) {
        // A parallel view shows at the target what a perspective one of that angle would.
        const Float width = std::max(d.GetFloat(CAMERA_ZOOM, 1024.0), 1e-9);
        distance = std::max(distance, 0.5 * width);
        frame.fov = degrees(2.0 * std::atan(0.5 * width / distance));
    } else {
        frame.fov = degrees(horizontalAngle(d, aspect));
    }
    Vector forward = place.v3.GetNormalized(), up = place.v2.GetNormalized();
    if (forward.IsZero()) forward = {0, 0, 1};
    if (up.IsZero()) up = {0, 1, 0};
    frame.position = toEnginePoint(place.off, scale);
    frame.target = toEnginePoint(place.off + forward * distance, scale);
    frame.up = toEngineDirection(up);
    frame.lensShift = {static_cast<float>(d.GetFloat(CAMERAOBJECT_FILM_OFFSET_X, 0.0)),
                       static_cast<float>(-d.GetFloat(CAMERAOBJECT_FILM_OFFSET_Y, 0.0))};
    return frame;
}

bool updateCamera(ApiNode* renderTarget, const BaseObject* camera, float scale, Int32 width, Int32 height) {
    if (!renderTarget || !camera) return false;
    ApiNode* node = ownedInput(renderTarget, P_CAMERA, NT_CAM_THINLENS);
    if (!node) return false;
    const Float aspect = width > 0 && height > 0 ? static_cast<Float>(width) / height : 1.0;
    const CameraFrame frame = readCameraFrame(*camera, scale, aspect);
    bool changed = false;
    changed |= setFloatIfChanged(node, P_FOV, frame.fov);
    changed |= setBoolIfChanged(node, P_ORTHOGRAPHIC, frame.orthographic);
    changed |= setFloat2IfChanged(node, P_LENS_SHIFT, frame.lensShift);
    changed |= setFloatIfChanged(node, P_APERTURE, frame.aperture);
    changed |= setBoolIfChanged(node, P_AUTOFOCUS, true);
    changed |= setFloatIfChanged(node, P_FOCAL_DEPTH, frame.focalDepth);
    changed |= setFloat3IfChanged(node, P_POSITION, frame.position);
    changed |= setFloat3IfChanged(node, P_TARGET, frame.target);
    changed |= setFloat3IfChanged(node, P_UP, frame.up);
    return changed;
}

bool setFilmResolution(ApiNode* renderTarget, Int32 width, Int32 height) {
    ApiNode* film = ownedInput(renderTarget, P_FILM_SETTINGS, NT_FILM_SETTINGS);
    return setInt2IfChanged(film, P_RESOLUTION, {width, height});
}

}  // namespace lumora
