// The node records in force, and reading values from them.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/graph/record.h"
#include "engine/render/vec.h"

namespace Lumora::engine {

using LogFunction = std::function<void(const std::string&)>;

/// The parts of a scene that are built one by one, each from the nodes that it read.
enum class ScenePart { Geometry, Shading, Environment, VisibleEnvironment, Ambient, Count };

class NodeTable {
public:
    /// The record of a node, or null. Valid until the node is replaced or removed.
    const NodeRecord* find(ItemUid uid) const { return share(uid).get(); }
    /// The same without counting as read.
    const NodeRecord* peek(ItemUid uid) const {
        const auto it = entries_.find(uid);
        return it == entries_.end() ? nullptr : it->second.record.get();
    }
    /// As find(), to be kept.
    const NodeRecordPtr& share(ItemUid uid) const {
        if (trace_) trace_->push_back(uid);
        if (reading_) {
            // A node that is not there is read too: when it comes, the part must be built again.
            Entry& entry = entries_[uid];
            entry.readAt[static_cast<std::size_t>(part_)] = builds_[static_cast<std::size_t>(part_)];
            return entry.record;
        }
        static const NodeRecordPtr kNoRecord;
        const auto it = entries_.find(uid);
        return it == entries_.end() ? kNoRecord : it->second.record;
    }
    /// Between these every node that is looked for, found or not, counts as read by that part. What the part read
    /// before is forgotten. One part at a time, one thread.
    void startReading(ScenePart part) {
        part_ = part;
        ++builds_[static_cast<std::size_t>(part)];
        reading_ = true;
    }
    /// As startReading(), but what the part read before counts on: for parts that look only at what an edit concerns.
    void goOnReading(ScenePart part) {
        if (builds_[static_cast<std::size_t>(part)] == 0) return startReading(part);
        part_ = part;
        reading_ = true;
    }
    void endReading() { reading_ = false; }
    bool readBy(ScenePart part, ItemUid uid) const {
        const auto p = static_cast<std::size_t>(part);
        const auto it = entries_.find(uid);
        return it != entries_.end() && builds_[p] != 0 && it->second.readAt[p] == builds_[p];
    }
    /// From now on every node that is looked for is listed in `trace`, too; null: no more. Returns what was there
    /// before.
    std::vector<ItemUid>* trace(std::vector<ItemUid>* trace) const { return std::exchange(trace_, trace); }
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

    void put(NodeRecordPtr record) {
        Entry& entry = entries_[record->uid];
        count_ += entry.record == nullptr;
        entry.record = std::move(record);
    }
    /// Parts that read the node must be built again, which tells anew who looks for it.
    void remove(ItemUid uid) {
        const auto it = entries_.find(uid);
        if (it == entries_.end()) return;
        count_ -= it->second.record != nullptr;
        entries_.erase(it);
    }
    std::size_t size() const { return count_; }

private:
    struct Entry {
        NodeRecordPtr record;
        std::array<std::uint32_t, static_cast<std::size_t>(ScenePart::Count)> readAt{};
    };
    mutable std::unordered_map<ItemUid, Entry> entries_;
    mutable std::vector<ItemUid>* trace_ = nullptr;
    std::array<std::uint32_t, static_cast<std::size_t>(ScenePart::Count)> builds_{};
    std::size_t count_ = 0;
    ScenePart part_{};
    bool reading_ = false;
};

/// Samples over time that each element of an attribute's array has; 1 when it is not animated. The first is shown.
std::size_t timeSamples(const NodeRecord& node, AttributeId id);

/// A value as three numbers; false when it is no number.
bool toVector(const Value& value, Float3& out);

/// Transform of a transform node (value, 2D, 3D, scale, rotation): scale, then rotation about z, x, y, then
/// translation. Degrees. The identity for null or any other node.
Matrix<float> readTransform(const NodeTable& nodes, const NodeRecord* node);

}  // namespace Lumora::engine
