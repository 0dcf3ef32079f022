// The host's camera as the camera node of the render target.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

/// The active view's scene camera, else the view's own. Null only without a document; the reason goes to the log.
BaseObject* renderCamera(const BaseDocument* doc);

/// What a host camera says, in engine space: right-handed metres.
struct CameraFrame {
    Float3 position, target, up;
    float fov = 45;  ///< degrees, across the width
    bool orthographic = false;
    Float2 lensShift{};
    float focalDepth = 1;
    float aperture = 0;  ///< radius of the lens opening, centimetres
};

/// `aspect`: width to height of the picture, which cameras that keep their vertical angle need.
/// `scale`: metres per scene unit.
CameraFrame readCameraFrame(const BaseObject& camera, float scale, Float aspect);

/// Writes the camera to the thin lens node on the target's camera pin, which it makes when missing. True when anything
/// was written.
bool updateCamera(ApiNode* renderTarget, const BaseObject* camera, float scale, Int32 width, Int32 height);

/// Pixels of the film. True when written.
bool setFilmResolution(ApiNode* renderTarget, Int32 width, Int32 height);

}  // namespace lumora
