// Start and end of the engine inside a host's process.
#pragma once

#include "engine/api/types.h"

namespace Lumora {

/// Starts the engine. `id` names the caller in the log. `useStoredDevices`: take the device choice of the last
/// saveRenderDeviceConfig(). `userFolder` may be null; when given it is called once with `userData` for the folder of
/// the engine's own files, and the text it returns stays the caller's. `verbose` raises the log level.
/// False on failure; `errorText`, when not null, then points at a sentence that lives until the next call. Starting a
/// running engine changes nothing and succeeds.
LUMORA_API bool apiMode_Shared_start(const char* id, bool useStoredDevices, const char** errorText,
                                     char* (*userFolder)(void*), void* userData, bool verbose);

/// Ends rendering, destroys every item and joins all threads of the engine. It can be started again.
LUMORA_API bool apiMode_Shared_exit(const char** errorText);

}  // namespace Lumora
