// Loading the engine's library when it is wanted.
//
// A program that links the stub library lumora_engine_stubs instead of the engine calls the engine's functions as if it
// were linked to it. loadEngineLibrary() must have succeeded before the first call.
#pragma once

#include <string>

namespace Lumora {

/// Loads liblumora.so from the directory and resolves every function. Later calls succeed at once. False on failure,
/// with a sentence in `error` (may be null): the file that is missing, the loader's reason, or the functions that the
/// library lacks. Call it from one thread.
bool loadEngineLibrary(const char* directory, std::string* error);

/// True after loadEngineLibrary() has succeeded.
bool engineLibraryLoaded();

}  // namespace Lumora
