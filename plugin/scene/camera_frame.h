// Where the render camera stands, where it looks, and how wide.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

/// The active view's scene camera, else the view's own. Null only without a document; the reason goes to the log.
BaseObject* renderCamera(const BaseDocument* doc);

/// The tag's parameters, or an empty container: a camera without a tag is one whose tag was never touched.
const BaseContainer& cameraTagData(const BaseTag* tag);

/// Distance of what is in focus, scene units: the tag's when it names one, else the camera's. Always above zero.
Float targetDistance(const BaseObject& camera, const BaseTag* tag);

/// Host space: position and target in scene units times `scale`, `up` of unit length, along the camera's own y axis.
void cameraFrame(const BaseObject& camera, const BaseTag* tag, Vector& position, Vector& target, Vector& up,
                 Float scale);

/// Upwards in the picture, host space, unit length: in the plane of the view and the camera's own y axis, and as close
/// to the world's up as that plane allows. The camera's y axis itself when it lies level.
Vector cameraUp(const Matrix& place);

/// Where the camera stands in the engine: right-handed metres.
struct EngineFrame {
    Float3 position{}, target{}, up{0, 1, 0};
    friend bool operator==(const EngineFrame&, const EngineFrame&) = default;
};
EngineFrame toEngineFrame(const Vector& position, const Vector& target, const Vector& up);

/// Degrees across the picture. `aspect`, width to height, is for cameras that keep their vertical angle. A parallel
/// camera, or `parallel`, has the angle of a perspective one that shows as much at the target.
float cameraFieldOfView(const BaseObject& camera, bool parallel, Float aspect);

/// Distance along the view to the object that the camera focuses on, scene units; `fallback` without one. A camera that
/// looks away from it focuses as far as in front.
Float focusDistance(const BaseObject& camera, Float fallback);

/// Fractions of the picture: to the right and down.
Float2 filmOffset(const BaseObject& camera);

}  // namespace lumora
