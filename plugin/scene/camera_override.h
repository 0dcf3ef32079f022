// Imager and post-processing as the camera tag wants them, in place of the render settings'.
#pragma once

#include "plugin/render/render_settings.h"

namespace lumora {

/// Writes what the tag takes over to the target's imager and post-processing, and lets the render settings write what
/// it leaves to them. True: something was written. `tag` is empty for a camera without one.
bool applyCameraOverrides(ApiNode* renderTarget, const BaseContainer& tag, RenderSettings& settings);

}  // namespace lumora
