// Public descriptions of pins.
#pragma once

#include "engine/api/api_node.h"
#include "engine/schema/schema.h"

namespace Lumora::engine {

ApiNodePinInfo pinInfo(const PinSchema& pin, const char* name, bool dynamic);

}  // namespace Lumora::engine
