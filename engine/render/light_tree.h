// Picks one of many emitting triangles by what it may contribute to a point: a binary tree of bounding spheres, walked
// at random from the top by power over squared distance (after Conty Estevez and Kulla, "Importance Sampling of Many
// Lights", 2018, without their bounds of orientation).
#pragma once

#include <cstdint>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

class LightTree {
public:
    struct Item {
        Float3 center;
        float radius = 0.0f, power = 0.0f;  ///< of a sphere around the light; power is positive
    };

    LightTree() = default;
    explicit LightTree(const std::vector<Item>& items);

    bool empty() const { return nodes_.empty(); }
    /// An item and the chance with which it is picked from there. Uses up both numbers.
    std::uint32_t sample(Float3 from, Float2 u, float& probability) const;
    float probability(Float3 from, std::uint32_t item) const;

private:
    struct Node {
        Float3 center;
        float radius = 0.0f, power = 0.0f;
        std::uint32_t second = 0;  ///< inner node: its second child, the first follows it; leaf: the item
        bool leaf = false;
    };
    std::uint32_t build(const std::vector<Item>& items, std::vector<std::uint32_t>& order, std::size_t first,
                        std::size_t last, std::uint64_t trail, unsigned depth);
    static float importance(const Node& node, Float3 from);

    std::vector<Node> nodes_;
    std::vector<std::uint64_t> trails_;  ///< of each item: the turns from the root, first in the lowest bit
};

}  // namespace Lumora::engine
