// Parameters of the plug-in's node types, with the values that a new node takes. Each stands beside the code that reads
// them.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

const Description* cameraTagDescription();       // plugin/scene
const Description* lightTagDescription();        // plugin/scene
const Description* environmentTagDescription();  // plugin/scene
const Description* daylightTagDescription();     // plugin/scene
const Description* objectTagDescription();       // plugin/geometry
const Description* volumeObjectDescription();    // plugin/geometry
const Description* materialDescription();        // plugin/materials
const Description* blendMaterialDescription();   // plugin/materials

}  // namespace lumora
