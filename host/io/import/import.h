// Import of foreign scene files: glTF 2.0, OBJ, FBX, PLY, STL, Collada.
//
// Files from strangers crash and hang the libraries that read them. So a child process of ours (the job "import", see
// host/runtime/child_process.h) reads the file, under limits on time and memory, and hands the result over as a
// document file of our own; what comes back is checked before it is used.
#pragma once

#include <functional>
#include <vector>

#include "host/sdk/document.h"

namespace host {

struct ImportLimits {
    /// Address space of the child, bytes; 0: three quarters of the machine's memory, or LUMORA_IMPORT_MEMORY megabytes.
    Int64 memoryBytes = 0;
    /// Processor time, and twice as much time on the clock; 0: 30 s and 10 s more for each megabyte of input, at most
    /// an hour, or LUMORA_IMPORT_SECONDS.
    Float seconds = 0;
    /// Asked about ten times a second; true ends the import with an error. May be empty.
    std::function<bool()> stop;
};

/// True when the suffix is one of a foreign scene format: gltf, glb, obj, fbx, ply, stl, dae.
Bool isImportFile(const Filename& file);

/// A loose document with the file's content, framed (see frame_view.h), its path and name set to the file's folder and
/// name, or null with one sentence in `error`. `warnings` (may be null) are sentences about what was left out; they do
/// not name the file. Blocks; main thread.
BaseDocument* importScene(const Filename& file, String* error, std::vector<String>* warnings,
                          const ImportLimits& limits = {});

/// The same in this process, into an empty document: for the child and for files that are trusted.
Bool importInProcess(const Filename& file, BaseDocument& document, String* error, std::vector<String>* warnings);

}  // namespace host
