// The render passes: one table for their ids, names and pins.
#pragma once

#include <cstddef>

#include "engine/api/api_info.h"

namespace Lumora::engine {

extern const ApiRenderPassInfo kRenderPasses[];
extern const std::size_t kRenderPassCount;

}  // namespace Lumora::engine
