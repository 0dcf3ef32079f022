// Who was made from what, so that an edit finds all that it concerns without looking at the rest.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "engine/graph/record.h"

namespace Lumora::engine {

/// What is made of nodes: the texture or the material of a node, or something that is made once.
enum class MadeAs : std::uint8_t { Texture, Material, Single };

struct Made {
    ItemUid uid = 0;  ///< Single: which of them
    MadeAs as{};
    friend bool operator==(const Made&, const Made&) = default;
};

struct MadeHash {
    std::size_t operator()(const Made& made) const {
        return std::hash<std::uint64_t>()(made.uid * 4 + static_cast<std::uint64_t>(made.as));
    }
};

/// Build thread only.
class Dependents {
public:
    /// Says what something was made from, instead of what was said before. Nodes may be named more than once.
    void set(const Made& made, std::vector<ItemUid> sources);
    void forget(const Made& made) { set(made, {}); }
    void clear();

    /// Whether something is made from the node.
    bool used(ItemUid uid) const { return sources_.contains(uid); }
    /// Nodes that something was made from until lately, since the last call. Some may be used again.
    std::vector<ItemUid> takeReleased() { return std::exchange(released_, {}); }

    /// All that is made from these nodes, and from what is made from them; perhaps also what was until lately. The
    /// nodes' own textures and materials are among it, whether there are any or not.
    std::unordered_set<Made, MadeHash> concernedBy(const std::vector<ItemUid>& nodes) const;

private:
    /// What is made from a node. Entries are dropped by the way: `users` may name some that use it no more.
    struct Source {
        std::vector<Made> users;
        std::size_t count = 0;  ///< of those that use it
    };
    bool uses(const Made& made, ItemUid uid) const;
    void tidy(ItemUid uid, Source& source);

    std::unordered_map<Made, std::vector<ItemUid>, MadeHash> made_;  ///< each list sorted
    std::unordered_map<ItemUid, Source> sources_;
    std::vector<ItemUid> released_;
};

}  // namespace Lumora::engine
