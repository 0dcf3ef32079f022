// The walk of a document: every object with what its tags and its place say, sorted by what is made of it.
//
// The walk only reads the host; nothing of the engine is touched. Threads: the sending thread.
#pragma once

#include "plugin/core/prelude.h"
#include "plugin/core/scene_object_info.h"
#include "plugin/geometry/object_tags.h"

namespace lumora {

struct SceneCollections;

struct CollectOptions {
    bool instancePaths = false;  ///< motion or its analysis runs: paths are built
    ObjectTagContext tags;
};

/// What a walk found.
struct CollectResult {
    Int64 objects = 0;                 ///< walked, caches included
    BaseObject* background = nullptr;  ///< the last background object that differs from the known one
    BaseObject* foreground = nullptr;
};

/// Walks all top-level objects of the document, in order, and fills `collections`, which it empties first.
CollectResult collectScene(BaseDocument* document, SceneCollections& collections, const CollectOptions& options);

}  // namespace lumora
