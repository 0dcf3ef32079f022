// Everything that the plug-in brings to documents: materials, shaders, tags, objects, the renderer.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Registers the rows of the class table in order. False at the first one that the host refuses.
bool registerClasses(const GeResource& texts);

}  // namespace lumora
