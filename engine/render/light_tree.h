// Picks one of many lights by what it may contribute to a point: a binary tree of bounds in space and direction, walked
// at random from the top (Conty Estevez and Kulla, "Importance Sampling of Many Lights with Adaptive Tree Splitting",
// 2018, without the splitting).
//
// A tree knows nothing of what its items are. The lights of a scene hang in two levels: a tree over the emitting
// instances in the world, and under each a tree over the polygons of its mesh, in object space, that all instances of
// the mesh share.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Where lights are and where they shine: a sphere around them, and a cone around the normals of their surfaces. Each
/// surface shines into the hemisphere over its normal, or with `bothSides` over its back too.
struct LightBounds {
    Float3 center;
    float radius = 0.0f;
    Float3 axis;           ///< of the cone; zero: normals of all directions
    float cosine = -1.0f;  ///< of the angle between the axis and the outermost normal
    float power = 0.0f;    ///< flux up to a factor; not negative
    std::uint16_t mask = 0xffff;
    bool bothSides = false;

    /// An upper guess of the irradiance that reaches a point; zero only where no light can arrive. `normal`: of the
    /// surface there, zero or both sides: light is welcome from all around.
    float importance(Float3 point, Float3 normal, bool receiveBoth, std::uint32_t lights) const;
};

/// Bounds of both.
LightBounds unite(const LightBounds& a, const LightBounds& b);

/// The place that is lit, in the space of the tree.
struct LightReceiver {
    Float3 point, normal;
    bool bothSides = false;
    std::uint32_t mask = 0xffff;  ///< lights with none of these bits are not chosen
};

class LightTree {
public:
    LightTree() = default;
    /// Items without power are never picked.
    explicit LightTree(const std::vector<LightBounds>& items);

    bool empty() const { return nodes_.empty(); }
    std::size_t size() const { return trails_.size(); }
    const LightBounds& bounds() const { return nodes_[0].bounds; }
    /// An item and the chance with which it is picked from there; zero: no light can arrive, and no item is picked.
    /// `u` in [0, 1) comes back as a fresh number.
    std::uint32_t sample(const LightReceiver& at, double& u, float& probability) const;
    float probability(const LightReceiver& at, std::uint32_t item) const;
    /// The tree of the same items in the same places with other powers.
    LightTree withPowers(const std::vector<LightBounds>& items) const;
    std::uint64_t bytes() const { return nodes_.size() * sizeof(Node) + trails_.size() * sizeof(std::uint64_t); }

private:
    struct Node {
        LightBounds bounds;
        std::uint32_t child = 0;  ///< the first of two that lie side by side; with `leaf` the item
        bool leaf = false;
    };
    class Builder;

    float importance(std::uint32_t node, const LightReceiver& at) const {
        return nodes_[node].bounds.importance(at.point, at.normal, at.bothSides, at.mask);
    }

    std::vector<Node> nodes_;
    std::vector<std::uint64_t> trails_;  ///< of each item: the turns from the root, first in the lowest bit
};

}  // namespace Lumora::engine
