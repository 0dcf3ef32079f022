// The node records in force, and reading values from them.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "engine/graph/record.h"
#include "engine/render/vec.h"

namespace Lumora::engine {

using LogFunction = std::function<void(const std::string&)>;

class NodeTable {
public:
    /// The record of a node, or null. Valid until the node is replaced or removed.
    const NodeRecord* find(ItemUid uid) const { return share(uid).get(); }
    /// The same, to be kept.
    const NodeRecordPtr& share(ItemUid uid) const {
        static const NodeRecordPtr kNoRecord;
        if (reads_) reads_->insert(uid);
        const auto it = records_.find(uid);
        return it == records_.end() ? kNoRecord : it->second;
    }
    /// While `reads` is not null, every node that is looked for is added to it, found or not: what a build depends on.
    void noteReads(std::unordered_set<ItemUid>* reads) const { reads_ = reads; }
    /// The node connected to a pin, or null.
    const NodeRecord* input(const NodeRecord& node, PinId pin) const {
        const ItemUid uid = node.input(pin);
        return uid ? find(uid) : nullptr;
    }

    /// A pin's value: that of the value node connected to it, else the pin's own. Numbers of any kind convert; a single
    /// number fills all three components, a pair leaves the third at zero.
    Float3 vector(const NodeRecord& node, PinId pin, Float3 fallback) const;
    float number(const NodeRecord& node, PinId pin, float fallback) const {
        return vector(node, pin, splat(fallback)).x;
    }
    int integer(const NodeRecord& node, PinId pin, int fallback) const;
    bool flag(const NodeRecord& node, PinId pin, bool fallback) const { return integer(node, pin, fallback) != 0; }

    void put(NodeRecordPtr record) { records_[record->uid] = std::move(record); }
    void remove(ItemUid uid) { records_.erase(uid); }
    std::size_t size() const { return records_.size(); }

private:
    std::unordered_map<ItemUid, NodeRecordPtr> records_;
    mutable std::unordered_set<ItemUid>* reads_ = nullptr;
};

/// Samples over time that each element of an attribute's array has; 1 when it is not animated. The first is shown.
std::size_t timeSamples(const NodeRecord& node, AttributeId id);

/// A value as three numbers; false when it is no number.
bool toVector(const Value& value, Float3& out);

/// Transform of a transform node (value, 2D, 3D, scale, rotation): scale, then rotation about z, x, y, then
/// translation. Degrees. The identity for null or any other node.
Matrix<float> readTransform(const NodeTable& nodes, const NodeRecord* node);

}  // namespace Lumora::engine
