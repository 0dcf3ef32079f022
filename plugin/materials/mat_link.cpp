#include "plugin/materials/mat_link.h"

#include <algorithm>

#include "plugin/core/log.h"

namespace lumora {

namespace {

using Items = std::vector<const ApiItem*>;

/// The items that the graph owns directly, sorted.
Items ownedItems(const ApiNodeGraph& graph) {
    Lumora::ApiItemArray array;
    graph.getOwnedItems(array);
    Items items(array.size());
    for (std::size_t i = 0; i < items.size(); ++i) items[i] = array.get(i);
    std::sort(items.begin(), items.end());
    return items;
}

bool contains(const Items& sorted, const ApiItem* item) {
    return std::binary_search(sorted.begin(), sorted.end(), item);
}

bool playsSeveralFrames(const BaseList2D& owner) {
    const BaseContainer& d = *owner.GetDataInstance();
    return owner.GetType() == Xbitmap && d.GetInt32(BITMAPSHADER_TIMING_FROM) != d.GetInt32(BITMAPSHADER_TIMING_TO);
}

}  // namespace

ApiNodeGraph& MatLink::owningGraph() const {
    return graph ? *graph : ApiProjectManager::rootNodeGraph();
}

bool MatLink::standsInGraph(const ApiItem* item) const {
    std::vector<const ApiNodeGraph*> graphs{&owningGraph()};
    for (std::size_t g = 0; g < graphs.size(); ++g) {
        const Items items = ownedItems(*graphs[g]);
        if (contains(items, item)) return true;
        for (const ApiItem* owned : items)
            if (owned->isGraph()) graphs.push_back(owned->toGraph());
    }
    return false;
}

// --- Index ----------------------------------------------------------------------------------------------------------

void MatLink::index(std::size_t at) {
    const MatNodeRec& rec = nodes_[at];
    byKey_.insert_or_assign(Key{rec.owner, rec.pin}, at);
    const auto [first, isNew] = byOwner_.try_emplace(rec.owner, at);
    // The first record of an owner is what is asked for without a pin; one whose key was made anew has no say.
    if (!isNew && nodes_[first->second].pin == rec.pin) first->second = at;
}

void MatLink::reindex() {
    byKey_.clear();
    byOwner_.clear();
    for (std::size_t i = 0; i < nodes_.size(); ++i) index(i);
}

/// Which nodes are still there is asked of the graphs, never of the pointers: the user may have deleted a node in the
/// engine's own graph. The root graph holds everything, so of the graphs inside it only this link's are looked into.
///
/// What is gone is forgotten at once: the next node may be made at the same address, and would be taken for the old
/// one.
void MatLink::lookForNodes() {
    std::vector<bool> standing(nodes_.size());
    const ApiNodeGraph& top = savedGraph ? *savedGraph : owningGraph();
    const bool everywhere = &top != static_cast<const ApiNodeGraph*>(&ApiProjectManager::rootNodeGraph());
    std::vector<const ApiNodeGraph*> graphs{&top};
    for (std::size_t g = 0; g < graphs.size(); ++g) {
        const Items items = ownedItems(*graphs[g]);
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            if (standing[i] || !nodes_[i].node || !contains(items, nodes_[i].node)) continue;
            standing[i] = true;
            if (!everywhere && nodes_[i].node->isGraph()) graphs.push_back(nodes_[i].node->toGraph());
        }
        if (!everywhere) continue;
        for (const ApiItem* item : items)
            if (item->isGraph()) graphs.push_back(item->toGraph());
    }
    for (std::size_t i = 0; i < nodes_.size(); ++i)
        if (!standing[i]) nodes_[i].node = nullptr;
    looked_ = true;
    lookedAt_ = destroyCount();
}

// --- Records --------------------------------------------------------------------------------------------------------

MatNodeRec* MatLink::findRec(NodeType type, const BaseList2D* owner, UInt32 pin) {
    std::size_t at = 0;
    if (pin != 0) {
        const auto found = byKey_.find(Key{owner, pin});
        if (found == byKey_.end()) return nullptr;
        at = found->second;
    } else {
        const auto found = byOwner_.find(owner);
        if (found == byOwner_.end()) return nullptr;
        at = found->second;
    }
    if (generations_ == 0 || !looked_ || lookedAt_ != destroyCount()) lookForNodes();
    MatNodeRec& rec = nodes_[at];
    if (!rec.node) return nullptr;
    if (type != Lumora::NT_UNKNOWN) {
        const ApiNode* made = rec.node->toNode();
        if (!made || made->type() != type) return nullptr;
    }
    rec.used = true;
    if (owner) rec.animated = playsSeveralFrames(*owner);
    hasAnimatedImage |= rec.animated;
    return &rec;
}

MatNodeRec& MatLink::addRec(const BaseList2D* owner, UInt32 pin, ApiItem* item) {
    MatNodeRec rec;
    rec.node = item;
    rec.owner = owner;
    rec.pin = pin;
    rec.stamp = stamp;
    if (owner) {
        rec.animated = playsSeveralFrames(*owner);
        hasAnimatedImage |= rec.animated;
    }
    nodes_.push_back(rec);
    index(nodes_.size() - 1);
    return nodes_.back();
}

void MatLink::clearMarks() {
    lookForNodes();
    for (MatNodeRec& rec : nodes_) {
        rec.used = false;
        rec.stamp = stamp;
    }
}

bool MatLink::purgeUnused(bool keep) {
    if (keep || std::all_of(nodes_.begin(), nodes_.end(), [](const MatNodeRec& r) { return r.used; })) return false;
    const Items owned = ownedItems(owningGraph());
    bool destroyed = false;
    for (std::size_t i = nodes_.size(); i-- > 0;) {
        if (nodes_[i].used) continue;
        if (contains(owned, nodes_[i].node)) {
            destroyItem(nodes_[i].node);
            destroyed = true;
        } else if (debugLog()) {
            debugLine("REM:" + String::IntToString(static_cast<Int64>(i)));
        }
    }
    std::erase_if(nodes_, [](const MatNodeRec& r) { return !r.used; });
    reindex();
    return destroyed;
}

void MatLink::forgetNodes() {
    node = outNode = nullptr;
    graph = savedGraph = nullptr;
    nodes_.clear();
    reindex();
}

void MatLink::dependOn(const BaseList2D* object) {
    if (!object) return;
    hasLinkedObjects = true;
    linkedUse.resize(linkedObjects.size());
    for (std::size_t i = linkedObjects.size(); i-- > 0;) {
        const BaseList2D* known = linkedObjects[i].ForceGetLink();
        if (known == object) {
            ++linkedUse[i];
            return;
        }
        if (known) continue;
        linkedObjects.erase(linkedObjects.begin() + static_cast<std::ptrdiff_t>(i));
        linkedUse.erase(linkedUse.begin() + static_cast<std::ptrdiff_t>(i));
    }
    linkedObjects.emplace_back().SetLink(object);
    linkedUse.push_back(1);
}

}  // namespace lumora
