#pragma once

#include "host/io/import/context.h"

namespace host::importer {

/// Reads a .gltf or .glb file into the context's document. Throws ImportError.
void readGltf(Context& context);

}  // namespace host::importer
