// Which nodes of the project's root graph are still there.
#pragma once

#include <unordered_set>

#include "plugin/materials/engine_write.h"

namespace lumora {

/// A list made once: what remembers nodes over a long time asks it before it touches one that others may have
/// destroyed. Making it costs a walk over the root graph's items.
class LiveNodes {
public:
    LiveNodes() {
        Lumora::ApiItemArray items;
        ApiProjectManager::rootNodeGraph().getOwnedItems(items);
        nodes_.reserve(items.size());
        for (std::size_t i = 0; i < items.size(); ++i)
            if (ApiItem* item = items.get(i); item && item->isNode()) nodes_.insert(item->toNode());
    }
    /// A node that was made since.
    void add(const ApiNode* node) { nodes_.insert(node); }
    /// Empties the caller's pointer when the node is gone.
    void check(ApiNode*& node) const {
        if (node && !has(node)) node = nullptr;
    }
    bool has(const ApiNode* node) const { return nodes_.contains(node); }
    /// Destroys the node when it is there, and empties the caller's pointer.
    void destroy(ApiNode*& node) {
        if (node && nodes_.erase(node) > 0) destroyItem(node);
        node = nullptr;
    }

private:
    std::unordered_set<const ApiNode*> nodes_;
};

}  // namespace lumora
