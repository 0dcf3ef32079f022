// Materials that nothing in a document shows.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

/// The document's materials, in list order, that no texture tag or hair tag of an object names, directly or as a sub
/// material of a mix material at any depth.
std::vector<BaseMaterial*> collectUnusedMaterials(const BaseDocument& document);

/// Takes them out of the document in one undo step. Returns how many. Main thread.
Int32 removeUnusedMaterials(BaseDocument& document);

}  // namespace lumora
