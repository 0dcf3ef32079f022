// The reference of the engine's nodes as a document, made from the tables of the schema.
#pragma once

#include <string>

namespace Lumora::engine {

/// docs/engine-nodes.md, from its first line to its last.
std::string nodeReference();

}  // namespace Lumora::engine
