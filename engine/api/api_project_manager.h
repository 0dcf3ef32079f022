// The one project that is rendered.
#pragma once

#include "engine/api/api_node_graph.h"

namespace Lumora {

class ApiProjectManager {
public:
    LUMORA_API static ApiRootNodeGraph& rootNodeGraph();
    /// A node outside every graph, which holds the preferences as attributes.
    LUMORA_API static ApiNode& applicationPreferences();
    /// Empties the project; the render target is unset.
    LUMORA_API static bool resetProject();
    /// Replaces the project by a package or scene file. False, and the project untouched, when it cannot be read.
    LUMORA_API static bool loadProject(const char* path, const char* (*resolve)(const char*, void*), void* data,
                                       bool evaluate);
};

}  // namespace Lumora
