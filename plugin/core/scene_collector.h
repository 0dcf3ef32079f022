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
    bool forCheck = false;       ///< hair of the movable slots stands in their lists too, for its links' sake
    ObjectTagContext tags;
};

/// What a walk found.
struct CollectResult {
    Int64 objects = 0;                 ///< walked, caches included
    BaseObject* background = nullptr;  ///< the last background object that differs from the known one
    BaseObject* foreground = nullptr;
};

/// First step of a walk at an object: place, identity and change counters, into a record that holds what the parent
/// said. `generator`: the record of the object in whose cache this one is the top, or null. The tags come after it.
void readObjectPlace(SceneObjectInfo& record, BaseObject* object, const SceneObjectInfo* generator);
/// The step after readObjectTags: sums over what the tags hang on.
void readObjectTagSums(SceneObjectInfo& record, const BaseObject* object);
/// Whether the host's layer of the object is rendered; without a layer it is.
bool layerRenders(const BaseObject* object);

/// Walks all top-level objects of the document, in order, and fills `collections`, which it empties first. A walk that
/// finds what the last one into the same collections found allocates nothing.
CollectResult collectScene(BaseDocument* document, SceneCollections& collections, const CollectOptions& options);

}  // namespace lumora
