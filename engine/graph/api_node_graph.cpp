// ApiNodeGraph and ApiRootNodeGraph over the engine's graphs.
#include "engine/graph/item.h"
#include "engine/graph/journal.h"
#include "engine/graph/log.h"

namespace Lumora {

using namespace engine;

namespace {

Graph& graphOf(const ApiNodeGraph* graph) {
    return *Item::of(graph)->graph();
}

/// The graph's items, and with `recurse` what lies in them.
std::vector<Item*> itemsOf(const Graph& graph, bool recurse) {
    std::vector<Item*> all = graph.items();
    for (std::size_t i = 0; recurse && i < all.size(); ++i) {
        if (Graph* nested = all[i]->graph()) {
            const std::vector<Item*> inner = nested->items();
            all.insert(all.end(), inner.begin(), inner.end());
        } else {
            for (const Pin& pin : all[i]->node()->pins) {
                if (pin.owned) {
                    all.push_back(pin.input);
                }
            }
        }
    }
    return all;
}

}  // namespace

ApiNodeGraph* ApiNodeGraph::create(NodeGraphType type, ApiNodeGraph& owner) {
    LUMORA_GRAPH_GUARD;
    if (type != NG_STANDARD) {
        logLine(LOGLEVEL_ERRORS, "There is no node graph type %d.", static_cast<int>(type));
        return nullptr;
    }
    Graph& parent = graphOf(&owner);
    auto* graph = new Graph(type, parent.scene);
    parent.adopt(graph);
    journal(JOURNAL_CREATE, &graph->handle, NT_UNKNOWN);
    return &graph->handle;
}

NodeGraphType ApiNodeGraph::graphType() const {
    return graphOf(this).type;
}

void ApiNodeGraph::clear() {
    LUMORA_GRAPH_GUARD;
    destroyItems(graphOf(this).items());
}

ApiItem* ApiNodeGraph::copyFrom(const ApiItem& item) {
    LUMORA_GRAPH_GUARD;
    Item* copy = copyInto(graphOf(this), &Item::of(item), false);
    return copy ? copy->api() : nullptr;
}

ApiItem* ApiNodeGraph::copyItemTree(const ApiItem& item) {
    LUMORA_GRAPH_GUARD;
    Item* copy = copyInto(graphOf(this), &Item::of(item), true);
    return copy ? copy->api() : nullptr;
}

void ApiNodeGraph::getOwnedItems(ApiItemArray& items) const {
    LUMORA_GRAPH_GUARD;
    Item::fill(items, graphOf(this).items());
}

ApiNode* ApiNodeGraph::findFirstNode(NodeType type) const {
    LUMORA_GRAPH_GUARD;
    for (Item* item = graphOf(this).first; item; item = item->next) {
        if (item->node() && item->nodeType() == type) {
            return &item->node()->handle;
        }
    }
    return nullptr;
}

ApiNode* ApiNodeGraph::findFirstOutputNode(NodePinType type) const {
    LUMORA_GRAPH_GUARD;
    for (Item* item = graphOf(this).first; item; item = item->next) {
        Node* node = item->node();
        if (node && node->schema.outputLinker && node->schema.output == type) {
            return &node->handle;
        }
    }
    return nullptr;
}

void ApiNodeGraph::findNodes(NodeType type, ApiNodeArray& nodes, bool recurse) const {
    LUMORA_GRAPH_GUARD;
    std::vector<Node*> found;
    for (Item* item : itemsOf(graphOf(this), recurse)) {
        if (item->node() && item->nodeType() == type) {
            found.push_back(item->node());
        }
    }
    Item::fill(nodes, found);
}

void ApiNodeGraph::findItemsByName(const char* name, ApiItemArray& items, bool recurse) const {
    LUMORA_GRAPH_GUARD;
    std::vector<Item*> found;
    for (Item* item : itemsOf(graphOf(this), recurse)) {
        if (name && item->name == name) {
            found.push_back(item);
        }
    }
    Item::fill(items, found);
}

void ApiNodeGraph::unfold(bool recurse) {
    LUMORA_GRAPH_GUARD;
    graphOf(this).layOut(recurse);
}

bool ApiNodeGraph::showWindow(bool, const char*) {
    logLine(LOGLEVEL_WARNINGS, "The engine has no node graph window.");
    return false;
}

ApiRootNodeGraph* ApiRootNodeGraph::create(unsigned) {
    LUMORA_GRAPH_GUARD;
    return &createScene()->root->handle;
}

bool ApiRootNodeGraph::import(const char* path, unsigned& result, const char* (*)(const char*, void*), void*) {
    logLine(LOGLEVEL_ERRORS, "%s: this engine cannot read packages and scene files.", path ? path : "");
    result = 1;
    return false;
}

void ApiRootNodeGraph::convertAndEvaluate() {
    evaluate();
}

void ApiRootNodeGraph::updateTime(float seconds, bool) {
    LUMORA_GRAPH_GUARD;
    graphOf(this).scene->time = seconds;
}

}  // namespace Lumora
