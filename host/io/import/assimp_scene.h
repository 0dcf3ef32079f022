#pragma once

#include "host/io/import/context.h"

namespace host::importer {

/// Reads an OBJ, FBX, PLY, STL or Collada file through assimp into the context's document. Throws ImportError.
///
/// Units: a unit of OBJ, PLY and STL is a metre (they say none); FBX and Collada say what theirs is. Collada's up axis
/// is honoured; the others are taken as y up.
void readWithAssimp(Context& context);

}  // namespace host::importer
