// How fast this machine is at what the plug-in does most beside rendering.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Times containers, arrays and memory with `size` elements each, on the calling thread, and logs one line for each.
void runBenchmark(Int32 size);

}  // namespace lumora
