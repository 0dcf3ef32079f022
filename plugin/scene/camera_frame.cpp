#include "plugin/scene/camera_frame.h"

#include <algorithm>
#include <cmath>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/scene/camera_tag.h"

namespace lumora {

namespace {

constexpr Float kShortestDistance = 0.0001;

Vector axisOr(const Vector& axis, const Vector& fallback) {
    const Vector unit = axis.GetNormalized();
    return unit.IsZero() ? fallback : unit;
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

const BaseContainer& cameraTagData(const BaseTag* tag) {
    // What a new tag holds where that differs from what stands in for a missing value.
    static const BaseContainer kNone = [] {
        BaseContainer d;
        d.SetFloat(CAMERATAG_APERTURE, 0.0);
        return d;
    }();
    return tag ? *tag->GetDataInstance() : kNone;
}

Float targetDistance(const BaseObject& camera, const BaseTag* tag) {
    constexpr Float kDefault = 1000.0;
    Float distance = cameraTagData(tag).GetFloat(CAMERATAG_FOCAL_DEPTH, 0.0);
    if (distance == 0) distance = camera.GetDataInstance()->GetFloat(CAMERAOBJECT_TARGETDISTANCE, kDefault);
    return distance > kShortestDistance ? distance : 1.0;
}

void cameraFrame(const BaseObject& camera, const BaseTag* tag, Vector& position, Vector& target, Vector& up,
                 Float scale) {
    const Matrix place = camera.GetMg();
    const Vector forward = axisOr(place.v3, {0, 0, 1});
    position = place.off * scale;
    target = (place.off + forward * targetDistance(camera, tag)) * scale;
    up = axisOr(place.v2, {0, 1, 0});
}

Vector cameraUp(const Matrix& place) {
    constexpr Float kLevel = 0.01;
    const Vector y = axisOr(place.v2, {0, 1, 0}), forward = axisOr(place.v3, {0, 0, 1});
    if (std::abs(y.y) < kLevel) return y;
    // The world's up in the camera's frame without its share to the side, which would undo a roll.
    const Vector inPlane = y * y.y + forward * forward.y;
    return axisOr(inPlane * (y.y < 0 ? -1.0 : 1.0), y);
}

EngineFrame toEngineFrame(const Vector& position, const Vector& target, const Vector& up) {
    return {toEnginePoint(position, 1.0f), toEnginePoint(target, 1.0f), toEngineDirection(up)};
}

float cameraFieldOfView(const BaseObject& camera, bool parallel, Float aspect) {
    const BaseContainer& d = *camera.GetDataInstance();
    if (parallel) {
        Float zoom = d.GetFloat(CAMERA_ZOOM, 1.0);
        if (zoom == 0) zoom = 1e-9;
        return static_cast<float>(std::clamp(kParallelFieldOfView / zoom, -360.0, 360.0));
    }
    const Float vertical = d.GetFloat(CAMERAOBJECT_FOV_VERTICAL, 0.0);
    if (vertical > 0 && vertical < kPi)
        return static_cast<float>(2.0 * std::atan(std::tan(0.5 * vertical) * aspect) * kDegreesPerRadian);
    const Float width = d.GetFloat(CAMERAOBJECT_APERTURE, 36.0);
    const Float focal = std::max(d.GetFloat(CAMERA_FOCUS, 36.0), 1e-6);
    return static_cast<float>(360.0 * std::atan(width / 2.0 / focal) / kPi);
}

Float focusDistance(const BaseObject& camera, Float fallback) {
    const BaseList2D* focus = camera.GetDataInstance()->GetLink(CAMERAOBJECT_TARGETOBJECT, camera.GetDocument());
    if (!focus || !focus->IsInstanceOf(Obase)) return fallback;
    const Matrix place = camera.GetMg();
    const Vector offset = static_cast<const BaseObject*>(focus)->GetMg().off - place.off;
    const Float length = offset.GetLength();
    if (!(length > kShortestDistance)) return fallback;
    const Float cosine = std::clamp(Dot(offset, axisOr(place.v3, {0, 0, 1})) / length, -1.0, 1.0);
    const Float distance = std::abs(length * cosine);
    return distance > kShortestDistance ? distance : fallback;
}

Float2 filmOffset(const BaseObject& camera) {
    const BaseContainer& d = *camera.GetDataInstance();
    return {static_cast<float>(d.GetFloat(CAMERAOBJECT_FILM_OFFSET_X, 0.0)),
            static_cast<float>(-d.GetFloat(CAMERAOBJECT_FILM_OFFSET_Y, 0.0))};
}

}  // namespace lumora
