// Start, messages and end of the plug-in.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Makes the singletons, registers everything and reads the preferences. False when the host's version does not fit or
/// a class could not be registered. A missing engine is no failure: the plug-in stays, without an engine.
bool PluginStart();
bool PluginMessage(Int32 id, void* data);
void PluginEnd();

/// Folder of the engine's library, below the plug-in's.
Filename engineDirectory();

}  // namespace lumora
