// Hands what was changed in the project over to the render.
#pragma once

#include "engine/api/types.h"

namespace Lumora {

class ApiChangeManager {
public:
    /// Takes a snapshot of everything that changed since the last call, below the render target in force, and returns.
    /// The change level rises when there was something. Engine threads build it and restart sampling; the update
    /// callback tells when. Large arrays are shared with the snapshot, not copied.
    LUMORA_API static void update();
    /// True when the next update() has something to hand over.
    LUMORA_API static bool hasChanges();
};

}  // namespace Lumora
