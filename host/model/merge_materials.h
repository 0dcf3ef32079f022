// Equal materials become one.
#pragma once

#include "host/sdk/document.h"

namespace host {

/// Of materials of one type with equal settings and shaders the first stays, whatever their names; everything in the
/// document that links another one links it from then on. Bytes that plug-ins keep in a material are no settings. One
/// step of undo. Returns how many materials went.
HOST_API Int32 mergeEqualMaterials(BaseDocument& document);

}  // namespace host
