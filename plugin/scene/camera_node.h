// The host's camera as the camera node of the render target.
#pragma once

#include "plugin/scene/camera_frame.h"

namespace lumora {

class lumoraLive;
class RenderSettings;

/// Writes the camera, with what its tag says, to the camera node of the session's render target: its kind, lens, place
/// and motion, and the imager and post-processing where the tag takes them over. Every pin is compared first; `force`
/// samples the motion of the camera anew. Null camera: nothing is written. True: something was. Sending thread.
bool updateCamera(lumoraLive& session, const BaseObject* camera, RenderSettings& settings, bool force);

/// Pixels of the film. True when written.
bool setFilmResolution(ApiNode* renderTarget, Int32 width, Int32 height);

}  // namespace lumora
