// Directions towards the openings through which the environment lights a closed space.
#pragma once

#include "engine/render/emitters.h"

namespace Lumora::engine {

/// Share of the environment's light samples that go through portals; the others follow the environment's brightness,
/// so that what has no portal is still found.
inline float portalShare(const Lights& lights) {
    return lights.portals.empty() ? 0.0f : 0.6f;
}

/// A direction from a point to a portal, and its density by solid angle. `pick` and `u`: uniform numbers. The density
/// is zero where no portal can be seen.
Float3 samplePortals(const Lights& lights, Float3 from, float pick, Float2 u, float& pdf);
/// That density for any direction.
float portalPdf(const Lights& lights, Float3 from, Float3 direction);

}  // namespace Lumora::engine
