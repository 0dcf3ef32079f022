// Node graphs: items that own items. A root graph is a whole project or a private scratch scene.
#pragma once

#include "engine/api/api_item.h"
#include "engine/api/api_node.h"

namespace Lumora {

class ApiNodeGraph : public ApiItem {
public:
    /// A new empty graph, owned by `owner`. Null for an unknown type.
    LUMORA_API static ApiNodeGraph* create(NodeGraphType type, ApiNodeGraph& owner);

    LUMORA_API NodeGraphType graphType() const;

    /// Destroys everything in the graph.
    LUMORA_API void clear();
    /// Copies one item into this graph: a node with the nodes inside its pins, a graph with all that it owns. What the
    /// item was connected to stays connected where it lies in the same project, else the pin is empty.
    LUMORA_API ApiItem* copyFrom(const ApiItem& item);
    /// Copies an item with everything that feeds it, connections included. Returns the copy of the item.
    LUMORA_API ApiItem* copyItemTree(const ApiItem& item);
    /// The items that the graph owns directly, oldest first.
    LUMORA_API void getOwnedItems(ApiItemArray& items) const;
    /// Oldest first among the nodes that the graph owns directly; null when there is none.
    LUMORA_API ApiNode* findFirstNode(NodeType type) const;
    /// The first output linker of that pin type that the graph owns directly.
    LUMORA_API ApiNode* findFirstOutputNode(NodePinType type) const;
    /// `recurse`: look into nested graphs and inside pins too.
    LUMORA_API void findNodes(NodeType type, ApiNodeArray& nodes, bool recurse) const;
    LUMORA_API void findItemsByName(const char* name, ApiItemArray& items, bool recurse) const;
    /// Lays the items out for the node graph window.
    LUMORA_API void unfold(bool recurse);
    /// The engine has no window of its own: always false, with a line in the log.
    LUMORA_API bool showWindow(bool show, const char* title);

protected:
    friend class engine::Graph;
    explicit ApiNodeGraph(engine::Item* item) : ApiItem(item) {}
    ~ApiNodeGraph() = default;
};

class ApiRootNodeGraph : public ApiNodeGraph {
public:
    /// A private scene of its own. `version` is the engine version that its content is written for. The caller frees
    /// it with destroy().
    LUMORA_API static ApiRootNodeGraph* create(unsigned version);

    /// Reads a package or scene file into this graph. False, with the reason in the log, when it cannot be read.
    /// `result` is 0 for success. `resolve` may replace a path that is missing; may be null.
    LUMORA_API bool import(const char* path, unsigned& result, const char* (*resolve)(const char*, void*), void* data);
    /// Brings nodes of older versions up to date and evaluates every item.
    LUMORA_API void convertAndEvaluate();
    /// Sets the project's time in seconds. `evaluate`: evaluate what is animated now.
    LUMORA_API void updateTime(float seconds, bool evaluate);

private:
    friend class engine::Graph;
    explicit ApiRootNodeGraph(engine::Item* item) : ApiNodeGraph(item) {}
    ~ApiRootNodeGraph() = default;
};

}  // namespace Lumora
