// Where a moving camera is at each time of the shutter.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

class lumoraLive;

/// Fills the value nodes on position, target and up of the camera node with samples over the span of the shutter.
/// Takes them from a private copy of the camera and what it hangs on, which is stepped through the times: the user's
/// document is not touched. False when there is nothing to sample: the camera then stays as it is written.
/// Sending thread.
bool sampleCamera(lumoraLive& session, const BaseObject& camera, ApiNode* node);

}  // namespace lumora
