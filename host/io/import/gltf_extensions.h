// What is known of the extensions of glTF.
#pragma once

#include "host/io/import/gltf_file.h"

namespace host::importer {

/// An extension that the file requires and that cannot be read is an error that names it; one that it merely uses is a
/// warning.
void checkGltfExtensions(const GltfFile& file, Context& context);

}  // namespace host::importer
