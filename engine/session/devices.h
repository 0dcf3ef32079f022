// The device of the renderer: the processor.
#pragma once

#include <string>

namespace Lumora::engine {

/// Instruction sets that this build uses and the processor has not; empty when all are there.
std::string missingInstructions();

/// Forgets what was set, at the end of the engine.
void resetDevices();

struct MemoryFigures {
    unsigned long long free = 0, total = 0;  ///< bytes
};
MemoryFigures machineMemory();

}  // namespace Lumora::engine
